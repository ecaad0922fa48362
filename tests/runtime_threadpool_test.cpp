// The worker pool: creation bounds, reuse of a parked worker, the dispatch that blocks while
// every worker is busy, and the shut-down that waits for running jobs and parked workers.
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "runtime/pavo_threadpool.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kBound = 20s;

// Polls a condition with a bound; for state that has no notification.
template <class Condition>
bool eventually(Condition condition)
{
    for (auto deadline = std::chrono::steady_clock::now() + kBound; !condition();
         std::this_thread::sleep_for(1ms))
        if (std::chrono::steady_clock::now() > deadline)
            return false;
    return true;
}

// Starts `call` on a thread of its own and waits until the kernel shows that
// thread sleeping inside it, which there means blocked on a lock or a condition.
template <class Call>
bool blocks_in(std::thread& thread, Call call)
{
    auto tid = std::make_shared<std::atomic<pid_t>>(0);
    thread = std::thread([tid, call] {
        *tid = static_cast<pid_t>(syscall(SYS_gettid));
        call();
    });
    return eventually([&] {
        std::ifstream stat("/proc/self/task/" + std::to_string(tid->load()) + "/stat");
        std::string line;
        std::getline(stat, line);
        return *tid != 0 && line.compare(std::min(line.rfind(')'), line.size()), 3, ") S") == 0;
    });
}

class ThreadPool : public ::testing::Test {
protected:
    // A job that records its thread and start, then holds its worker until released.
    struct Job {
        ThreadPool* owner = nullptr;
        bool held = false, released = false;
        pthread_t thread{};
    };
    static void* run(void* arg)
    {
        Job& job = *static_cast<Job*>(arg);
        ThreadPool& owner = *job.owner;
        std::unique_lock<std::mutex> lock(owner.mutex_);
        job.thread = pthread_self();
        owner.started_++;
        owner.changed_.notify_all();
        owner.changed_.wait(lock, [&] { return !job.held || job.released; });
        owner.finished_++;
        owner.changed_.notify_all();
        return nullptr;
    }

    void TearDown() override
    {
        release(-1);  // a failed test may leave jobs held
        if (pool_ != nullptr)
            destroy_threadpool(pool_);
    }

    Job* job(int index, bool held)
    {
        jobs_[index].owner = this;
        jobs_[index].held = held;
        return &jobs_[index];
    }
    int dispatch(int index, bool held)
    {
        return dispatch_threadpool(pool_, run, job(index, held));
    }
    void release(int index)  // -1 releases every job
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (int i = 0; i < kJobs; i++)
            jobs_[i].released |= index < 0 || index == i;
        changed_.notify_all();
    }
    template <class Condition>
    bool wait_until(Condition condition)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kBound, condition);
    }
    // Reads a value the jobs write, under their lock.
    template <class T>
    T locked(const T& value)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return value;
    }
    // Workers parked (tp_index) or started (tp_total), read under the pool's own lock.
    int counter(int _threadpool::*field)
    {
        _threadpool* pool = static_cast<_threadpool*>(pool_);
        pthread_mutex_lock(&pool->tp_mutex);
        int value = pool->*field;
        pthread_mutex_unlock(&pool->tp_mutex);
        return value;
    }

    static constexpr int kJobs = 4;
    std::mutex mutex_;
    std::condition_variable changed_;
    int started_ = 0;
    int finished_ = 0;
    Job jobs_[kJobs];
    t_threadpool pool_ = nullptr;
};

TEST_F(ThreadPool, CreationAcceptsOneToTwoHundredWorkersAndNullPoolsAreRefused)
{
    for (int n : {0, 201})
        EXPECT_EQ(create_threadpool(n), nullptr) << n;
    testing::internal::CaptureStdout();
    t_threadpool pool = create_threadpool(200);
    EXPECT_EQ(dispatch_threadpool(pool, nullptr, nullptr), -1);
    pool_destroy(pool);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // no thread ever started
}

// Then shut-down waits for the two jobs still running, and for all three workers to exit.
TEST_F(ThreadPool, FourthDispatchWaitsForAFreeWorkerAndDestroyWaitsForEveryJob)
{
    pool_ = create_threadpool(3);
    for (int i = 0; i < 3; i++)
        ASSERT_EQ(dispatch(i, true), 0);
    ASSERT_TRUE(wait_until([&] { return started_ == 3; }));

    std::atomic<int> result{-2};
    std::thread fourth;
    ASSERT_TRUE(blocks_in(fourth, [&] { result = dispatch(3, false); }));
    EXPECT_EQ(result, -2);
    EXPECT_EQ(locked(started_), 3);

    release(1);
    fourth.join();
    ASSERT_TRUE(wait_until([&] { return finished_ == 2; }));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(locked(jobs_[3].thread),
              locked(jobs_[1].thread));             // so it started after job 1 ended
    EXPECT_EQ(counter(&_threadpool::tp_total), 3);  // no fourth thread
    ASSERT_TRUE(eventually([&] { return counter(&_threadpool::tp_index) == 1; }));

    testing::internal::CaptureStdout();
    std::atomic<int> finished_when_destroyed{0};
    std::thread destroyer;
    ASSERT_TRUE(blocks_in(destroyer, [&] {
        destroy_threadpool(pool_);
        finished_when_destroyed = locked(finished_);
    }));
    EXPECT_EQ(locked(finished_), 2);
    release(-1);
    destroyer.join();
    pool_ = nullptr;
    EXPECT_EQ(finished_when_destroyed, 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "waiting for 2 thread(s) to finish\nwaiting for 3 thread(s) to exit\n");
}

}  // namespace
