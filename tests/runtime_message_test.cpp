// The bounded message queue: posting order, the limit that drops a message
// and leaves the lock held, clear keeping the count, taking with and
// without a callback, and posting from several threads.
#include <gtest/gtest.h>

#include <errno.h>

#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "runtime/pavo_message.h"
#include "service/pavo_global.h"

namespace {

// eventtype, eventscope, eventid, buffer, buffersize, cbdata, cbdatasize
using Call = std::tuple<int, int, int, void*, int, void*, int>;
std::vector<Call> g_calls;

int record_call(int eventtype, int eventscope, int eventid, void* buffer, int buffersize,
                void* cbdata, int cbdatasize)
{
    g_calls.emplace_back(eventtype, eventscope, eventid, buffer, buffersize, cbdata, cbdatasize);
    return 0;
}

int post_id(int eventid)
{
    return pavo_postmessage(record_call, 1, 2, eventid, nullptr, 0, nullptr, 0);
}

// What the information-level log prints on the console.
std::string info(const std::string& text) { return "\033[1;32m" + text + "\033[0m"; }

class MessageQueue : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_calls.clear();
        g_pavo_env.mpool = PAVO_MemPoolConstruct();
        pavo_setfuncmode(FUNCMODE_ASYNC);
        pavo_setlogmode(1);
        ASSERT_EQ(pavo_messageque_init(100), 0);
    }
    void TearDown() override
    {
        pavo_messageque_cleanup();
        MyMemePoolDestruct(g_pavo_env.mpool);
        g_pavo_env.mpool = nullptr;
    }
    static int pooled_free_blocks()
    {
        int count = -1;
        testing::internal::CaptureStdout();
        MyMemPoolView(g_pavo_env.mpool, &count, sizeof count);
        testing::internal::GetCapturedStdout();
        return count;
    }
};

TEST_F(MessageQueue, CheckTakesOneMessagePerCallInPostingOrderAndRunsItsCallback)
{
    char buffer[4], cbdata[2];
    ASSERT_EQ(pavo_postmessage(record_call, 7, 8, 9, buffer, 4, cbdata, 2), 0);
    ASSERT_EQ(pavo_postmessage(nullptr, 1, 2, 3, nullptr, 0, nullptr, 0), 0);
    ASSERT_EQ(post_id(10), 0);
    EXPECT_EQ(pavo_getmessagecount(), 3);

    ASSERT_EQ(pavo_iner_checkmessage(), 1);
    ASSERT_EQ(g_calls, std::vector<Call>({Call(7, 8, 9, buffer, 4, cbdata, 2)}));
    ASSERT_EQ(pavo_iner_checkmessage(), 1);  // no callback: taken silently
    ASSERT_EQ(pavo_iner_checkmessage(), 1);
    ASSERT_EQ(g_calls.size(), 2u);
    EXPECT_EQ(std::get<2>(g_calls[1]), 10);
    EXPECT_EQ(pavo_iner_checkmessage(), 0);
    EXPECT_EQ(pooled_free_blocks(), 3);  // only the nodes came back, never the buffers
}

TEST_F(MessageQueue, GetMessageReportsFieldsWithoutRunningTheCallback)
{
    char buffer[1], cbdata[1];
    ASSERT_EQ(pavo_postmessage(record_call, 4, 5, 6, buffer, 10, cbdata, 20), 0);
    ASSERT_EQ(post_id(2), 0);
    int eventtype = 0, eventid = 0, datasize = 0, cbdatasize = 0;
    void* data = nullptr;
    void* cbd = nullptr;
    // Without a place for both buffers nothing is taken.
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, nullptr, nullptr, &cbd, nullptr), -1);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(pavo_getmessagecount(), 2);

    ASSERT_EQ(pavo_getmessage(&eventtype, &eventid, &data, &datasize, &cbd, &cbdatasize), 1);
    EXPECT_EQ(std::make_tuple(eventtype, eventid, data, datasize, cbd, cbdatasize),
              std::make_tuple(4, 6, (void*)buffer, 10, (void*)cbdata, 20));
    ASSERT_EQ(pavo_getmessage(nullptr, &eventid, &data, nullptr, &cbd, nullptr), 1);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, &cbd, nullptr), 0);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MessageQueue, FullQueueDropsMessageAndReleasesTheLock)
{
    for (int id = 0; id < 100; id++)
        ASSERT_EQ(post_id(id), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(post_id(100), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              info("E*****************messgage Queue exceed limit:100\r\n"));

    // Released: another thread can take the lock; the 101st never arrived.
    int other = -1;
    std::thread([&] {
        other = pthread_mutex_trylock(&g_messagequeue->queue_lock);
        if (other == 0)
            pthread_mutex_unlock(&g_messagequeue->queue_lock);
    }).join();
    EXPECT_EQ(other, 0);
    EXPECT_EQ(g_messagequeue->cur_queue_size, 100);
    while (pavo_iner_checkmessage() == 1) {
    }
    ASSERT_EQ(g_calls.size(), 100u);
    EXPECT_EQ(std::get<2>(g_calls.back()), 99);
}

TEST_F(MessageQueue, ClearEmptiesTheListButKeepsTheCount)
{
    for (int id = 1; id <= 3; id++)
        ASSERT_EQ(post_id(id), 0);
    EXPECT_EQ(pavo_messageque_clear(), 0);
    EXPECT_EQ(g_messagequeue->queue_head, nullptr);
    EXPECT_EQ(pavo_getmessagecount(), 3);
    EXPECT_EQ(pooled_free_blocks(), 3);
    // A take finds a positive count and no head: nothing runs, the count drops.
    EXPECT_EQ(pavo_iner_checkmessage(), 0);
    EXPECT_EQ(pavo_getmessagecount(), 2);
    EXPECT_TRUE(g_calls.empty());
    pavo_setfuncmode(FUNCMODE_SYNC);
    EXPECT_EQ(post_id(1), -1);  // synchronous mode refuses to post
}

TEST_F(MessageQueue, PostsFromSeveralThreadsKeepEachPostersOrder)
{
    constexpr int kPosters = 3, kEach = 30;
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; p++)
        posters.emplace_back([p] {
            for (int i = 0; i < kEach; i++)
                ASSERT_EQ(post_id(p * 1000 + i), 0);
        });
    for (int taken = 0; taken < kPosters * kEach;) {
        if (pavo_iner_checkmessage() == 1)
            taken++;
        else
            std::this_thread::yield();
    }
    for (std::thread& t : posters)
        t.join();
    int next[kPosters] = {0, 0, 0};
    for (const Call& c : g_calls) {
        int id = std::get<2>(c);
        EXPECT_EQ(id % 1000, next[id / 1000]++);
    }
    EXPECT_EQ(pavo_getmessagecount(), 0);
}

}  // namespace
