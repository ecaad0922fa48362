/*
 * pavo_mutex.cpp - the mutex wrapper: a POSIX mutex in a record allocated from
 * a memory pool (or the system allocator for a null pool). Used by the memory
 * pool for its free-list lock and by anyone holding an HMYMUTEX.
 */
#include "runtime/pavo_mutex.h"
#include "runtime/pavo_hooks.h"

extern "C" {

HMYMUTEX MyMutexConstruct(HMYMEMPOOL hm)
{
    mymutex_t* record = static_cast<mymutex_t*>(MyMemPoolMalloc(hm, sizeof(mymutex_t)));
    if (record == nullptr)
        return nullptr;
    record->hm = hm;
    if (pthread_mutex_init(&record->mtx, nullptr) != 0) {
        pavo_inner_logwarn("[%s:%d]", __FILE_NAME__, __LINE__);
        pavo_inner_logwarn("fail create mutex");
        pavo_inner_logwarn("\n");
        MyMemPoolFree(hm, record);
        return nullptr;
    }
    return reinterpret_cast<HMYMUTEX>(record);
}

void MyMutexDestruct(HMYMUTEX hmx)
{
    mymutex_t* record = reinterpret_cast<mymutex_t*>(hmx);
    if (record == nullptr)
        return;
    // A mutex still held elsewhere is forced open before it goes. A successful
    // try-lock is released too: destroying a locked mutex is undefined.
    pthread_mutex_trylock(&record->mtx);
    pthread_mutex_unlock(&record->mtx);
    pthread_mutex_destroy(&record->mtx);
    MyMemPoolFree(record->hm, record);
}

int MyMutexLock(HMYMUTEX hmx)
{
    mymutex_t* record = reinterpret_cast<mymutex_t*>(hmx);
    return record == nullptr ? -1 : pthread_mutex_lock(&record->mtx);
}

int MyMutexTryLock(HMYMUTEX hmx)
{
    mymutex_t* record = reinterpret_cast<mymutex_t*>(hmx);
    return record == nullptr ? -1 : pthread_mutex_trylock(&record->mtx);
}

int MyMutexUnLock(HMYMUTEX hmx)
{
    mymutex_t* record = reinterpret_cast<mymutex_t*>(hmx);
    return record == nullptr ? -1 : pthread_mutex_unlock(&record->mtx);
}

}  // extern "C"
