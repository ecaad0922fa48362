// A job the pipeline cannot hand on (no worker thread for it, no queue node
// for its answer) is freed and reported as the pipeline's failure.
#include <gtest/gtest.h>

#include <pthread.h>
#include <stdlib.h>

#include "runtime/pavo_message.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

// Counts the blocks it hands out and refuses the one numbered fail_at.
struct CountingPool {
    int calls;
    int fail_at;
    int live;
};

void* counting_malloc(size_t size, void* context)
{
    CountingPool* pool = static_cast<CountingPool*>(context);
    if (++pool->calls == pool->fail_at)
        return nullptr;
    ++pool->live;
    return malloc(size);
}

void counting_free(void* block, void* context)
{
    --static_cast<CountingPool*>(context)->live;
    free(block);
}

class PipelineDispatch : public ::testing::Test {
protected:
    void SetUp() override
    {
        pool_ = {0, 0, 0};
        handle_ = MyMemPoolConstruct(counting_malloc, counting_free, nullptr, nullptr, &pool_);
        g_pavo_env.mpool = handle_;
        pavo_setfuncmode(FUNCMODE_ASYNC);
        ASSERT_EQ(pavo_messageque_init(100), 0);
        pool_.calls = 0;
    }
    void TearDown() override
    {
        pavo_messageque_cleanup();
        pavo_setfuncmode(FUNCMODE_SYNC);
        g_pavo_env.mpool = nullptr;
        MyMemePoolDestruct(handle_);
    }
    CountingPool pool_;
    HMYMEMPOOL handle_ = nullptr;
};

TEST_F(PipelineDispatch, AnswerWithoutQueueNodeFreesJob)
{
    const int queue_blocks = pool_.live;
    pool_.fail_at = 1;
    EXPECT_EQ(pavo_postmessage(nullptr, 1, 2, 3, nullptr, 0, nullptr, 0), -1);
    // Job, url, body; then the answer block, then the refused node. Port 1 of
    // the loopback refuses the transfer at once; the answer is still posted.
    t_httpjobarg* job = static_cast<t_httpjobarg*>(pavo_malloc(sizeof(t_httpjobarg)));
    job->url = pavo_copy_bytes("http://127.0.0.1:1/", 19);
    job->param = pavo_copy_bytes("k=v&", 4);
    pool_ = {0, 2, pool_.live};
    EXPECT_EQ(pavo_inner_httpjob(job), nullptr);
    EXPECT_EQ(pavo_getmessagecount(), 0);
    EXPECT_EQ(pool_.live, queue_blocks);
}

TEST_F(PipelineDispatch, JobWithoutWorkerThreadFreesJobAndFails)
{
    // A default stack no thread can have makes every thread creation fail.
    const int queue_blocks = pool_.live;
    pthread_attr_t normal, huge;
    ASSERT_EQ(pthread_getattr_default_np(&normal), 0);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, static_cast<size_t>(1) << 60);
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    t_threadpool saved = g_pavo_env.threadpool;
    g_pavo_env.threadpool = pool_init(1);
    auto never_run = [](void*) -> void* { return nullptr; };
    EXPECT_EQ(pavo_iner_addjob(never_run, nullptr), -1);
    EXPECT_EQ(pavo_addhttpjob(STORETYPE_MEM, nullptr, PAVO_CALLBACK_AAA, 0, 1, EPAVO_LOGIN,
                              EPAVO_SCOPE_REQUEST, "http://127.0.0.1:1/", "k=v&", 4, nullptr,
                              nullptr, nullptr, nullptr),
              -1);
    pthread_setattr_default_np(&normal);
    pool_destroy(g_pavo_env.threadpool);
    g_pavo_env.threadpool = saved;
    pthread_attr_destroy(&huge);
    pthread_attr_destroy(&normal);
    EXPECT_EQ(pool_.live, queue_blocks);
}

}  // namespace
