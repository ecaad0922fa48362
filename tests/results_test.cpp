// The per-thread result store (newest first, no fall-back to older results,
// exact copies, shared by threads), and the callback registry's bounds.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "service/pavo_global.h"
#include "support/temp_dir.h"

namespace {

std::atomic<int> g_freeproc_calls{0};

void counting_freeproc(void*) { ++g_freeproc_calls; }

int any_callback(tpavo_event*) { return 0; }

// A result record as a parser would hand it over.
tpavo_result* new_result(int resultcode, pavo_data_freeproc freeproc = counting_freeproc)
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
    }
    void TearDown() override { pavo_cleanup(); }

    TempDir dir_;
};

TEST_F(ResultStore, NewestResultStaysUntilFreedOnceAndThenNoOlderOneComesBack)
{
    tpavo_result* oldest = new_result(0);
    tpavo_result* first = new_result(1);
    tpavo_result* second = new_result(2);
    ASSERT_EQ(pavo_setlastresult(oldest), 0);
    ASSERT_EQ(pavo_setlastresult(first), 0);
    ASSERT_EQ(pavo_setlastresult(second), 0);
    ASSERT_EQ(pavo_setlastresult(second), 0);
    EXPECT_EQ(pavo_getresult(), second);
    EXPECT_EQ(pavo_freeresult(second), 0);
    EXPECT_EQ(g_freeproc_calls, 1);  // once, though two nodes held it
    EXPECT_EQ(pavo_getresult(), nullptr);
    // Freeing it again finds no node holding it.
    EXPECT_EQ(pavo_freeresult(second), 0);
    EXPECT_EQ(g_freeproc_calls, 1);
    // An older one is still found behind the emptied nodes; the oldest is
    // freed at shut-down.
    EXPECT_EQ(pavo_freeresult(first), 0);
    EXPECT_EQ(g_freeproc_calls, 2);
    pavo_cleanup();
    EXPECT_EQ(g_freeproc_calls, 3);
}

TEST_F(ResultStore, ConcurrentThreadsStoreFetchAndFree)
{
    constexpr int kThreads = 4, kRounds = 200;
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

TEST_F(ResultStore, MatchCopiesExactlyDatasizeBytesAndStoresAnEmptyMessageAsNull)
{
    char data[] = "abcdef";
    ASSERT_EQ(pavo_setlastresult_match(-3, "busy", DATATYPE_STRING, 3, data), 0);
    data[0] = 'Z';
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_STREQ(result->resultmsg, "busy");
    EXPECT_EQ(result->datasize, 3u);
    EXPECT_EQ(std::string(static_cast<const char*>(result->data.ptr), 3), "abc");
    EXPECT_EQ(pavo_freeresult(result), 0);  // string data without a freeproc goes too

    for (const char* empty : {"", static_cast<const char*>(nullptr)}) {
        ASSERT_EQ(pavo_setlastresult_match(0, empty, DATATYPE_STRING, 0, nullptr), 0);
        EXPECT_EQ(pavo_getresult()->resultmsg, nullptr);
        EXPECT_EQ(pavo_getresult()->data.ptr, nullptr);
    }
}

TEST_F(ResultStore, CallbackSlotsOutsideZeroToSevenAreRejected)
{
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_EXCEPTION, any_callback), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_iner_getcallback(PAVO_CALLBACK_EXCEPTION), any_callback);
    for (int type : {-1, 8})
        EXPECT_EQ(pavo_registercallback(static_cast<pavo_callbacktype>(type), any_callback),
                  PAVO_STATUS_FAILURE);
}

}  // namespace
