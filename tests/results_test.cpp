// The per-thread result store (newest first, no fall-back to older results,
// foreign pointers left alone, exact copies), freeing and dumping of results,
// the callback registry's bounds and the last-error value.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "service/pavo_global.h"
#include "support/temp_dir.h"

namespace {

std::atomic<int> g_freeproc_calls{0};
std::atomic<int> g_dumpproc_calls{0};

void counting_freeproc(void*) { ++g_freeproc_calls; }

void data_freeing_freeproc(void* record)
{
    pavo_free(static_cast<tpavo_result*>(record)->data.ptr);
    ++g_freeproc_calls;
}
void counting_dumpproc(void*) { ++g_dumpproc_calls; }

int any_callback(tpavo_event*) { return 0; }

// A result record as a parser would hand it over.
tpavo_result* new_result(int resultcode, pavo_data_freeproc freeproc = nullptr)
{
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    result->resultcode = resultcode;
    result->freeproc = freeproc;
    return result;
}

class ResultStore : public ::testing::Test {
protected:
    void SetUp() override
    {
        pavo_global_init();
        std::string workdir = dir_.path();
        pavo_init_param param{};
        param.workdirectory = workdir.data();
        ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
        g_freeproc_calls = 0;
        g_dumpproc_calls = 0;
    }
    void TearDown() override { pavo_cleanup(); }

    TempDir dir_;
};

TEST_F(ResultStore, ThreadWithoutResultsGetsNull)
{
    EXPECT_EQ(pavo_getresult(), nullptr);
    ASSERT_EQ(pavo_setlastresult(new_result(1)), 0);
    tpavo_result* seen = reinterpret_cast<tpavo_result*>(1);
    std::thread([&] { seen = pavo_getresult(); }).join();
    EXPECT_EQ(seen, nullptr);
}

TEST_F(ResultStore, NewestResultComesFirstAndStaysUntilFreed)
{
    tpavo_result* first = new_result(1);
    tpavo_result* second = new_result(2);
    ASSERT_EQ(pavo_setlastresult(first), 0);
    ASSERT_EQ(pavo_setlastresult(second), 0);
    EXPECT_EQ(pavo_getresult(), second);
    EXPECT_EQ(pavo_getresult(), second);
}

TEST_F(ResultStore, FreedResultDoesNotFallBackToAnOlderOne)
{
    tpavo_result* first = new_result(1, counting_freeproc);
    tpavo_result* second = new_result(2, counting_freeproc);
    ASSERT_EQ(pavo_setlastresult(first), 0);
    ASSERT_EQ(pavo_setlastresult(second), 0);
    EXPECT_EQ(pavo_freeresult(second), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
    EXPECT_EQ(pavo_getresult(), nullptr);
    // Freeing it again finds no node holding it.
    EXPECT_EQ(pavo_freeresult(second), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
    // The older one is still stored and is freed at shut-down.
    pavo_cleanup();
    EXPECT_EQ(g_freeproc_calls, 2);
}

TEST_F(ResultStore, ResultStoredTwiceIsFreedOnce)
{
    tpavo_result* result = new_result(1, counting_freeproc);
    ASSERT_EQ(pavo_setlastresult(result), 0);
    ASSERT_EQ(pavo_setlastresult(result), 0);
    EXPECT_EQ(pavo_freeresult(result), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
    EXPECT_EQ(pavo_getresult(), nullptr);
}

TEST_F(ResultStore, EachThreadSeesOnlyItsOwnResults)
{
    tpavo_result* mine = new_result(0);
    ASSERT_EQ(pavo_setlastresult(mine), 0);
    tpavo_result* theirs[2] = {nullptr, nullptr};
    tpavo_result* seen[2] = {nullptr, nullptr};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&, i] {
            theirs[i] = new_result(10 + i);
            pavo_setlastresult(theirs[i]);
            seen[i] = pavo_getresult();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(seen[0], theirs[0]);
    EXPECT_EQ(seen[1], theirs[1]);
    EXPECT_EQ(pavo_getresult(), mine);
}

TEST_F(ResultStore, ConcurrentThreadsStoreFetchAndFree)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                tpavo_result* result = new_result(t * kRounds + round);
                pavo_setlastresult(result);
                if (pavo_getresult() != result)
                    ++mismatches;
                if (round % 2 == 0)
                    pavo_freeresult(result);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(pavo_getresult(), nullptr);
}

TEST_F(ResultStore, ForeignPointerIsNotFreed)
{
    tpavo_result* stored = new_result(1, counting_freeproc);
    tpavo_result* foreign = new_result(2, counting_freeproc);
    ASSERT_EQ(pavo_setlastresult(stored), 0);
    EXPECT_EQ(pavo_freeresult(foreign), 0);
    EXPECT_EQ(g_freeproc_calls, 0);
    EXPECT_EQ(foreign->resultcode, 2);
    EXPECT_EQ(pavo_getresult(), stored);
    EXPECT_EQ(pavo_iner_freeresultitem(foreign), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
}

TEST_F(ResultStore, NullResultIsNeitherStoredNorFreed)
{
    EXPECT_EQ(pavo_setlastresult(nullptr), 0);
    EXPECT_EQ(pavo_getresult(), nullptr);
    EXPECT_EQ(pavo_freeresult(nullptr), 0);
    EXPECT_EQ(pavo_iner_freeresultitem(nullptr), 0);
    pavo_dumpresult(nullptr);
}

TEST_F(ResultStore, MatchCopiesExactlyDatasizeBytes)
{
    char data[] = "abcdef";
    ASSERT_EQ(pavo_setlastresult_match(-3, "busy", DATATYPE_STRING, 3, data), 0);
    data[0] = 'Z';
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, -3);
    EXPECT_STREQ(result->resultmsg, "busy");
    EXPECT_EQ(result->datatype, DATATYPE_STRING);
    EXPECT_EQ(result->datasize, 3u);
    EXPECT_EQ(result->freeproc, nullptr);
    const char* copy = static_cast<const char*>(result->data.ptr);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::string(copy, 3), "abc");
    EXPECT_EQ(pavo_freeresult(result), 0);
}

TEST_F(ResultStore, MatchStoresEmptyMessageAsNull)
{
    ASSERT_EQ(pavo_setlastresult_match(0, "", DATATYPE_STRING, 0, nullptr), 0);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultmsg, nullptr);
    EXPECT_EQ(result->data.ptr, nullptr);
    ASSERT_EQ(pavo_setlastresult_match(0, nullptr, DATATYPE_STRING, 0, nullptr), 0);
    EXPECT_EQ(pavo_getresult()->resultmsg, nullptr);
}

TEST_F(ResultStore, FreeItemPrefersFreeprocOverStringData)
{
    tpavo_result* result = new_result(0, data_freeing_freeproc);
    result->datatype = DATATYPE_STRING;
    result->data.ptr = pavo_malloc(16);
    result->resultmsg = static_cast<char*>(pavo_malloc(8));
    EXPECT_EQ(pavo_iner_freeresultitem(result), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
}

TEST_F(ResultStore, DumpCallsTheDumpprocOnly)
{
    tpavo_result* result = new_result(0);
    pavo_dumpresult(result);
    EXPECT_EQ(g_dumpproc_calls, 0);
    result->dumpproc = counting_dumpproc;
    pavo_dumpresult(result);
    EXPECT_EQ(g_dumpproc_calls, 1);
    pavo_iner_freeresultitem(result);
}

TEST_F(ResultStore, CleanupFreesEveryStoredResult)
{
    ASSERT_EQ(pavo_setlastresult(new_result(1, counting_freeproc)), 0);
    std::thread([] { pavo_setlastresult(new_result(2, counting_freeproc)); }).join();
    pavo_cleanup();
    EXPECT_EQ(g_freeproc_calls, 2);
    EXPECT_EQ(g_pavo_env.resultlist, nullptr);
}

TEST_F(ResultStore, NoStoreOutsideStartedLibrary)
{
    pavo_cleanup();
    EXPECT_EQ(pavo_getresult(), nullptr);
    EXPECT_EQ(pavo_resultlist_cleanup(), -1);
    tpavo_result* orphan = new_result(1, counting_freeproc);
    EXPECT_EQ(pavo_setlastresult(orphan), -1);
    EXPECT_EQ(pavo_freeresult(orphan), 0);
    EXPECT_EQ(g_freeproc_calls, 0);
    char data[] = "x";
    EXPECT_EQ(pavo_setlastresult_match(0, "m", DATATYPE_STRING, 1, data), -1);
    pavo_iner_freeresultitem(orphan);
}

TEST_F(ResultStore, ReinitialisingTheStoreFreesItsResults)
{
    ASSERT_EQ(pavo_setlastresult(new_result(1, counting_freeproc)), 0);
    EXPECT_EQ(pavo_resultlist_init(), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
    EXPECT_EQ(pavo_getresult(), nullptr);
}

TEST_F(ResultStore, LastErrorIsStoredAndRead)
{
    EXPECT_EQ(pavo_getlasterror(), 0);
    pavo_setlasterror(-42);
    EXPECT_EQ(pavo_getlasterror(), -42);
    EXPECT_EQ(pavo_inner_getlasterror(), -42);
}

TEST_F(ResultStore, CheckMessageOnEmptyQueueTakesNothing)
{
    EXPECT_EQ(pavo_checkmessage(), 0);
}

class CallbackRegistry : public ResultStore {};

TEST_F(CallbackRegistry, TypesOutsideTheEightSlotsAreRejected)
{
    EXPECT_EQ(pavo_registercallback(static_cast<pavo_callbacktype>(-1), any_callback),
              PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_registercallback(static_cast<pavo_callbacktype>(8), any_callback),
              PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_iner_getcallback(-1), nullptr);
    EXPECT_EQ(pavo_iner_getcallback(8), nullptr);
}

TEST_F(CallbackRegistry, EverySlotTakesACallbackAndNullClearsIt)
{
    for (int type = PAVO_CALLBACK_DEFAULT; type <= PAVO_CALLBACK_EXCEPTION; ++type) {
        auto slot = static_cast<pavo_callbacktype>(type);
        ASSERT_EQ(pavo_registercallback(slot, any_callback), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(pavo_iner_getcallback(type), any_callback);
        ASSERT_EQ(pavo_registercallback(slot, nullptr), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(pavo_iner_getcallback(type), nullptr);
    }
}

}  // namespace
