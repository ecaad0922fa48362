// A job the pipeline cannot hand on (no worker thread for it, no queue node
// for its answer) is freed and reported as the pipeline's failure.
#include <gtest/gtest.h>

#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>

#include "runtime/pavo_message.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

// Counts the live blocks and refuses the allocation numbered fail_at.
struct {
    int calls, fail_at, live;
} g_pool;

void* count_malloc(size_t size, void*)
{
    if (++g_pool.calls == g_pool.fail_at)
        return nullptr;
    ++g_pool.live;
    return malloc(size);
}

void count_free(void* block, void*)
{
    --g_pool.live;
    free(block);
}

class PipelineDispatch : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_pavo_env.mpool =
            MyMemPoolConstruct(count_malloc, count_free, nullptr, nullptr, nullptr);
        pavo_setfuncmode(FUNCMODE_ASYNC);
        pavo_messageque_init(100);
        queue_blocks_ = g_pool.live;
    }
    void TearDown() override
    {
        pavo_messageque_cleanup();
        MyMemePoolDestruct(g_pavo_env.mpool);
    }
    int queue_blocks_ = 0;
};

TEST_F(PipelineDispatch, AnswerWithoutQueueNodeFreesJob)
{
    g_pool.fail_at = g_pool.calls + 1;
    EXPECT_EQ(pavo_postmessage(nullptr, 1, 2, 3, nullptr, 0, nullptr, 0), -1);
    t_httpjobarg* job = static_cast<t_httpjobarg*>(pavo_malloc(sizeof(t_httpjobarg)));
    job->url = pavo_copy_bytes("", 0);  // refused by libcurl before any connection
    g_pool.fail_at = g_pool.calls + 2;  // the answer block, then the node
    EXPECT_EQ(pavo_inner_httpjob(job), nullptr);
    EXPECT_EQ(g_pool.live, queue_blocks_);
}

TEST_F(PipelineDispatch, JobWithoutWorkerThreadFreesJobAndFails)
{
    // A default stack no thread can have makes every thread creation fail.
    pthread_attr_t normal, huge;
    ASSERT_EQ(pthread_getattr_default_np(&normal), 0);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, SIZE_MAX & ~static_cast<size_t>(0xFFFF));  // any size_t
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    g_pavo_env.threadpool = pool_init(1);
    EXPECT_EQ(pavo_addhttpjob(STORETYPE_MEM, nullptr, PAVO_CALLBACK_AAA, 0, 1, EPAVO_LOGIN,
                              EPAVO_SCOPE_REQUEST, "never-sent", "k=v&", 4, nullptr, nullptr,
                              nullptr, nullptr),
              -1);
    pthread_setattr_default_np(&normal);
    pool_destroy(g_pavo_env.threadpool);
    g_pavo_env.threadpool = nullptr;
    EXPECT_EQ(g_pool.live, queue_blocks_);
}

}  // namespace
