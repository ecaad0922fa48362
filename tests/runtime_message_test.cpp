// The bounded message queue: posting order, the limit that drops a message
// and leaves the lock held, clear keeping the count, synchronous refusal,
// taking with and without a callback, and posting from several threads.
#include <gtest/gtest.h>

#include <errno.h>

#include <string>
#include <thread>
#include <vector>

#include "runtime/pavo_message.h"
#include "service/pavo_global.h"

namespace {

struct Call {
    int eventtype, eventscope, eventid;
    void* buffer;
    int buffersize;
    void* cbdata;
    int cbdatasize;
};
std::vector<Call> g_calls;

int record_call(int eventtype, int eventscope, int eventid, void* buffer, int buffersize,
                void* cbdata, int cbdatasize)
{
    g_calls.push_back({eventtype, eventscope, eventid, buffer, buffersize, cbdata, cbdatasize});
    return 0;
}

int post_id(int eventid) { return pavo_postmessage(record_call, 1, 2, eventid, nullptr, 0, nullptr, 0); }

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

TEST_F(MessageQueue, MessagesLeaveInPostingOrderOnePerCall)
{
    for (int id = 1; id <= 3; id++)
        ASSERT_EQ(post_id(id), 0);
    EXPECT_EQ(pavo_getmessagecount(), 3);
    for (int id = 1; id <= 3; id++) {
        ASSERT_EQ(pavo_iner_checkmessage(), 1);
        ASSERT_EQ(g_calls.size(), static_cast<size_t>(id));
        EXPECT_EQ(g_calls.back().eventid, id);
    }
    EXPECT_EQ(pavo_iner_checkmessage(), 0);
    EXPECT_EQ(g_calls.size(), 3u);
    EXPECT_EQ(pavo_getmessagecount(), 0);
}

TEST_F(MessageQueue, CallbackGetsEveryFieldAndTheQueueKeepsTheBuffers)
{
    char buffer[4], cbdata[2];
    ASSERT_EQ(pavo_postmessage(record_call, 7, 8, 9, buffer, 4, cbdata, 2), 0);
    ASSERT_EQ(pavo_iner_checkmessage(), 1);
    ASSERT_EQ(g_calls.size(), 1u);
    const Call& c = g_calls[0];
    EXPECT_EQ(c.eventtype, 7);
    EXPECT_EQ(c.eventscope, 8);
    EXPECT_EQ(c.eventid, 9);
    EXPECT_EQ(c.buffer, buffer);
    EXPECT_EQ(c.buffersize, 4);
    EXPECT_EQ(c.cbdata, cbdata);
    EXPECT_EQ(c.cbdatasize, 2);
    EXPECT_EQ(pooled_free_blocks(), 1);  // only the node came back
}

TEST_F(MessageQueue, MessageWithoutCallbackIsTakenSilently)
{
    ASSERT_EQ(pavo_postmessage(nullptr, 1, 2, 3, nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(pavo_iner_checkmessage(), 1);
    EXPECT_EQ(pavo_getmessagecount(), 0);
    EXPECT_EQ(pavo_iner_checkmessage(), 0);
}

TEST_F(MessageQueue, GetMessageReportsFieldsWithoutRunningTheCallback)
{
    char buffer[1], cbdata[1];
    ASSERT_EQ(pavo_postmessage(record_call, 4, 5, 6, buffer, 10, cbdata, 20), 0);
    ASSERT_EQ(post_id(2), 0);
    int eventtype = 0, eventid = 0, datasize = 0, cbdatasize = 0;
    void* data = nullptr;
    void* cbd = nullptr;
    ASSERT_EQ(pavo_getmessage(&eventtype, &eventid, &data, &datasize, &cbd, &cbdatasize), 1);
    EXPECT_EQ(eventtype, 4);
    EXPECT_EQ(eventid, 6);
    EXPECT_EQ(data, buffer);
    EXPECT_EQ(datasize, 10);
    EXPECT_EQ(cbd, cbdata);
    EXPECT_EQ(cbdatasize, 20);
    ASSERT_EQ(pavo_getmessage(nullptr, &eventid, &data, nullptr, &cbd, nullptr), 1);
    EXPECT_EQ(eventid, 2);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, &cbd, nullptr), 0);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MessageQueue, GetMessageWithoutPlaceForTheBuffersTakesNothing)
{
    void* data = nullptr;
    ASSERT_EQ(post_id(1), 0);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, nullptr, nullptr, &data, nullptr), -1);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(pavo_getmessagecount(), 1);
}

TEST_F(MessageQueue, FullQueueDropsMessageAndKeepsTheLockHeld)
{
    for (int id = 0; id < 100; id++)
        ASSERT_EQ(post_id(id), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(post_id(100), 0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("E*****************messgage Queue exceed limit:100\r\n"), std::string::npos)
        << out;

    // Left locked: neither this thread nor another can take the lock.
    pthread_mutex_t* lock = &g_messagequeue->queue_lock;
    EXPECT_EQ(pthread_mutex_trylock(lock), EBUSY);
    int other = 0;
    std::thread([&] { other = pthread_mutex_trylock(lock); }).join();
    EXPECT_EQ(other, EBUSY);
    EXPECT_EQ(g_messagequeue->cur_queue_size, 100);

    // This thread holds it, so it may let go; the 101st never arrived.
    ASSERT_EQ(pthread_mutex_unlock(lock), 0);
    while (pavo_iner_checkmessage() == 1) {
    }
    ASSERT_EQ(g_calls.size(), 100u);
    EXPECT_EQ(g_calls.back().eventid, 99);
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
    void* data = nullptr;
    void* cbdata = nullptr;
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, &cbdata, nullptr), 0);
    EXPECT_EQ(pavo_getmessagecount(), 1);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MessageQueue, SynchronousModeRefusesToPost)
{
    pavo_setfuncmode(FUNCMODE_SYNC);
    EXPECT_EQ(post_id(1), -1);
    pavo_setfuncmode(FUNCMODE_ASYNC);
    EXPECT_EQ(pavo_getmessagecount(), 0);
    EXPECT_EQ(g_messagequeue->queue_head, nullptr);
}

TEST_F(MessageQueue, CleanupAndInitLogAndReplaceTheQueue)
{
    ASSERT_EQ(post_id(1), 0);
    ASSERT_EQ(post_id(2), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(pavo_messageque_cleanup(), 0);
    std::string cleanup_out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(g_messagequeue, nullptr);
    EXPECT_EQ(pooled_free_blocks(), 3);  // the queue and both nodes
    EXPECT_TRUE(g_calls.empty());

    testing::internal::CaptureStdout();
    EXPECT_EQ(pavo_messageque_init(5), 0);
    std::string init_out = testing::internal::GetCapturedStdout();
    EXPECT_NE(g_messagequeue, nullptr);
    EXPECT_EQ(g_messagequeue_sizelimit, 5);
    EXPECT_EQ(pavo_getmessagecount(), 0);

    size_t begin = cleanup_out.find("messagequeue cleanup begin\r\n");
    EXPECT_NE(begin, std::string::npos) << cleanup_out;
    EXPECT_NE(cleanup_out.find("messagequeue cleanup end\r\n", begin), std::string::npos);
    begin = init_out.find("messagequeue init begin\r\n");
    EXPECT_NE(begin, std::string::npos) << init_out;
    EXPECT_NE(init_out.find("messagequeue init end\r\n", begin), std::string::npos);
}

TEST_F(MessageQueue, CallsWithoutAQueueDoNothing)
{
    pavo_messageque_cleanup();
    void* data = nullptr;
    void* cbdata = nullptr;
    EXPECT_EQ(post_id(1), -1);
    EXPECT_EQ(pavo_iner_checkmessage(), 0);
    EXPECT_EQ(pavo_getmessage(nullptr, nullptr, &data, nullptr, &cbdata, nullptr), 0);
    EXPECT_EQ(pavo_getmessagecount(), 0);
    EXPECT_EQ(pavo_messageque_clear(), 0);
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
    size_t taken = 0;
    while (taken < kPosters * kEach) {
        if (pavo_iner_checkmessage() == 1)
            taken++;
        else
            std::this_thread::yield();
    }
    for (std::thread& t : posters)
        t.join();
    int next[kPosters] = {0, 0, 0};
    for (const Call& c : g_calls) {
        int poster = c.eventid / 1000;
        EXPECT_EQ(c.eventid % 1000, next[poster]++);
    }
    EXPECT_EQ(pavo_getmessagecount(), 0);
}

}  // namespace
