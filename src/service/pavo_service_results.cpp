/*
 * pavo_service_results.cpp - the per-thread result store that synchronous
 * requests fill (through the pipeline's ending) and pavo_getresult reads,
 * and the release and dump of a result. The callback registry is the
 * callbacks module's.
 */
#include <pthread.h>
#include <stdint.h>
#include <string.h>

#include <unordered_map>

#include "service/pavo_global.h"

namespace {

// The store's mutex exists only between pavo_resultlist_init and
// pavo_resultlist_cleanup; outside that span there is nothing to lock.
bool store_exists() { return g_pavo_env.resultlist_initref > 0; }

// How many nodes hold each stored result, under the store's mutex. Emptied
// nodes stay in the list for good, so a release stops once it has emptied
// every holder instead of walking the whole history of the process. If the
// index cannot grow, releases walk the whole list until the next start.
std::unordered_map<const tpavo_result*, size_t> g_holders;
bool g_holders_complete = true;

void forget_holders()
{
    g_holders.clear();
    g_holders_complete = true;
}

void count_holder(const tpavo_result* result)
{
    try {
        ++g_holders[result];
    } catch (...) {
        g_holders_complete = false;
    }
}

// How many nodes to empty for this result: 0 when it is not stored, and
// "all there are" when the index is incomplete.
size_t holders_of(const tpavo_result* result)
{
    if (!g_holders_complete)
        return SIZE_MAX;
    auto found = g_holders.find(result);
    if (found == g_holders.end())
        return 0;
    const size_t count = found->second;
    g_holders.erase(found);
    return count;
}

class StoreLock {
public:
    StoreLock() { pthread_mutex_lock(&g_pavo_env.resultlistmutex); }
    ~StoreLock() { pthread_mutex_unlock(&g_pavo_env.resultlistmutex); }
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;
};

}  // namespace

extern "C" {

/* Result store */

int pavo_resultlist_init(void)
{
    pavo_resultlist_cleanup();
    if (g_pavo_env.resultlist_initref != 0)
        return -1;
    pthread_mutex_init(&g_pavo_env.resultlistmutex, nullptr);
    g_pavo_env.resultlist = nullptr;
    forget_holders();
    g_pavo_env.resultlist_initref = 1;
    return 0;
}

int pavo_resultlist_cleanup(void)
{
    if (g_pavo_env.resultlist_initref < 1)
        return -1;
    {
        StoreLock lock;
        tpavo_resultlist* node = g_pavo_env.resultlist;
        while (node != nullptr) {
            tpavo_resultlist* next = node->next;
            pavo_iner_freeresultitem(node->result);
            pavo_free(node);
            node = next;
        }
        g_pavo_env.resultlist = nullptr;
        forget_holders();
    }
    pthread_mutex_destroy(&g_pavo_env.resultlistmutex);
    --g_pavo_env.resultlist_initref;
    return 0;
}

// Older results of the thread stay behind the new one until pavo_freeresult
// or pavo_cleanup; nodes are never unlinked before then. The growth is kept.
int pavo_setlastresult(tpavo_result* result)
{
    if (result == nullptr)
        return 0;
    if (!store_exists())
        return -1;  // caller keeps the result
    tpavo_resultlist* node = static_cast<tpavo_resultlist*>(pavo_malloc(sizeof *node));
    if (node == nullptr)
        return -1;
    node->threadt = pthread_self();
    node->result = result;
    StoreLock lock;
    node->next = g_pavo_env.resultlist;
    g_pavo_env.resultlist = node;
    count_holder(result);
    return 0;
}

int pavo_setlastresult_match(int resultcode, const char* resultmsg, tpavo_datatype datatype,
                             size_t datasize, void* data)
{
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof *result));
    if (result == nullptr)
        return -1;
    result->resultcode = resultcode;
    if (resultmsg != nullptr && resultmsg[0] != '\0')
        result->resultmsg = pavo_copy_bytes(resultmsg, strlen(resultmsg));
    result->datatype = datatype;
    result->datasize = static_cast<uint32_t>(datasize);
    result->freeproc = nullptr;
    // Exactly datasize bytes: the copy is not NUL-terminated beyond them.
    if (data != nullptr) {
        result->data.ptr = pavo_malloc(datasize);
        if (result->data.ptr != nullptr)
            memcpy(result->data.ptr, data, datasize);
    }
    if (pavo_setlastresult(result) != 0) {
        pavo_iner_freeresultitem(result);
        return -1;
    }
    return 0;
}

// Fetching does not take the result out: the same pointer comes back until
// it is freed, and then null, never an older result of the thread.
tpavo_result* pavo_iner_getresult(void)
{
    if (!store_exists())
        return nullptr;
    pthread_t self = pthread_self();
    StoreLock lock;
    for (tpavo_resultlist* node = g_pavo_env.resultlist; node != nullptr; node = node->next) {
        if (pthread_equal(node->threadt, self))
            return node->result;
    }
    return nullptr;
}

tpavo_result* pavo_getresult(void) { return pavo_iner_getresult(); }

// Only a pointer found in the store is freed; its nodes stay, emptied.
int pavo_iner_freeresult(tpavo_result* result)
{
    if (result == nullptr || !store_exists())
        return 0;
    StoreLock lock;
    bool freed = false;
    size_t holders = holders_of(result);
    for (tpavo_resultlist* node = g_pavo_env.resultlist; node != nullptr && holders > 0;
         node = node->next) {
        if (node->result != result)
            continue;
        if (!freed)
            pavo_iner_freeresultitem(result);
        freed = true;
        node->result = nullptr;
        --holders;
    }
    return 0;
}

int pavo_freeresult(tpavo_result* result) { return pavo_iner_freeresult(result); }

// Data without a freeproc is freed only when it is a plain string; other
// kinds stay where they are, as they always did.
int pavo_iner_freeresultitem(tpavo_result* result)
{
    if (result == nullptr)
        return 0;
    if (result->freeproc != nullptr)
        result->freeproc(result);
    else if (result->datatype == DATATYPE_STRING && result->data.ptr != nullptr)
        pavo_free(result->data.ptr);
    pavo_free(result->resultmsg);
    result->freeproc = nullptr;
    result->dumpproc = nullptr;
    result->resultmsg = nullptr;
    pavo_free(result);
    return 0;
}

void pavo_iner_dumpresult(tpavo_result* result)
{
    if (result != nullptr && result->dumpproc != nullptr)
        result->dumpproc(result);
}

void pavo_dumpresult(tpavo_result* result) { pavo_iner_dumpresult(result); }

}  // extern "C"
