// The worker pool: creation bounds, lazy thread creation, last-in-first-out
// reuse, the dispatch that blocks while every worker is busy, and the
// shut-down that waits for running jobs and parked workers.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "runtime/pavo_threadpool.h"
#include "support/temp_dir.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kBound = 20s;

// Polls a condition with a bound; for state that has no notification.
bool eventually(const std::function<bool()>& condition)
{
    auto deadline = std::chrono::steady_clock::now() + kBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

// Standard output sent to a file for the duration, readable at any time.
class StdoutTap {
public:
    StdoutTap()
    {
        fflush(stdout);
        saved_ = dup(1);
        int fd = open(dir_.file("stdout").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        dup2(fd, 1);
        close(fd);
    }
    ~StdoutTap()
    {
        fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
    }
    std::string text()
    {
        fflush(stdout);
        return read_file(dir_.file("stdout"));
    }
    bool shows(const std::string& needle)
    {
        return eventually([&] { return text().find(needle) != std::string::npos; });
    }
    int count(const std::string& needle)
    {
        std::string all = text();
        int n = 0;
        for (size_t at = all.find(needle); at != std::string::npos; at = all.find(needle, at + 1))
            n++;
        return n;
    }

private:
    TempDir dir_;
    int saved_ = -1;
};

// Jobs that report their start and hold their worker until released.
struct Board {
    std::mutex mutex;
    std::condition_variable changed;
    int started = 0;
    int finished = 0;

    bool wait_until(const std::function<bool()>& condition)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, kBound, condition);
    }
};

struct Job {
    Board* board = nullptr;
    bool held = false;
    bool released = false;
    bool done = false;
    pthread_t thread = 0;
    int finished_before_start = -1;

    static void* run(void* arg)
    {
        Job* job = static_cast<Job*>(arg);
        Board& board = *job->board;
        std::unique_lock<std::mutex> lock(board.mutex);
        job->thread = pthread_self();
        job->finished_before_start = board.finished;
        board.started++;
        board.changed.notify_all();
        board.changed.wait(lock, [job] { return !job->held || job->released; });
        job->done = true;
        board.finished++;
        board.changed.notify_all();
        return nullptr;
    }
};

class ThreadPool : public ::testing::Test {
protected:
    void TearDown() override
    {
        release_all();
        if (pool_ != nullptr)
            destroy_threadpool(pool_);
    }

    Job& job(int index, bool held)
    {
        jobs_[index].board = &board_;
        jobs_[index].held = held;
        return jobs_[index];
    }
    int dispatch(int index, bool held) { return dispatch_threadpool(pool_, Job::run, &job(index, held)); }
    void release(int index)
    {
        std::lock_guard<std::mutex> lock(board_.mutex);
        jobs_[index].released = true;
        board_.changed.notify_all();
    }
    void release_all()
    {
        std::lock_guard<std::mutex> lock(board_.mutex);
        for (Job& j : jobs_)
            j.released = true;
        board_.changed.notify_all();
    }
    bool done(int index)
    {
        std::lock_guard<std::mutex> lock(board_.mutex);
        return jobs_[index].done;
    }
    pthread_t thread_of(int index)
    {
        std::lock_guard<std::mutex> lock(board_.mutex);
        return jobs_[index].thread;
    }
    // The pool's counters, read under its own lock.
    int counter(int _threadpool::*field)
    {
        _threadpool* pool = static_cast<_threadpool*>(pool_);
        pthread_mutex_lock(&pool->tp_mutex);
        int value = pool->*field;
        pthread_mutex_unlock(&pool->tp_mutex);
        return value;
    }
    int parked() { return counter(&_threadpool::tp_index); }
    int total() { return counter(&_threadpool::tp_total); }

    Board board_;
    Job jobs_[8];
    t_threadpool pool_ = nullptr;
};

bool thread_sleeping(pid_t tid)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    size_t after_name = line.rfind(')');
    return after_name != std::string::npos && line.compare(after_name, 3, ") S") == 0;
}

TEST(ThreadPoolCreate, AcceptsOneToTwoHundredWorkers)
{
    for (int n : {-1, 0, 201})
        EXPECT_EQ(create_threadpool(n), nullptr) << n;
    for (int n : {1, 3, 200}) {
        StdoutTap tap;
        t_threadpool handle = create_threadpool(n);
        ASSERT_NE(handle, nullptr) << n;
        _threadpool* pool = static_cast<_threadpool*>(handle);
        EXPECT_EQ(pool->tp_max_index, n);
        EXPECT_EQ(pool->tp_total, 0);
        EXPECT_EQ(pool->tp_index, 0);
        EXPECT_EQ(pool->tp_stop, 0);
        for (int i = 0; i < PAVO_THREADPOOL_STACK; i++)
            ASSERT_EQ(pool->tp_list[i], nullptr);
        destroy_threadpool(handle);
        EXPECT_EQ(tap.text(), "");  // no thread was ever started
    }
}

TEST(ThreadPoolCreate, NullPoolCallsAreHarmless)
{
    EXPECT_EQ(pool_init(0), nullptr);
    EXPECT_EQ(pool_add_worker(nullptr, Job::run, nullptr), -1);
    pool_destroy(nullptr);
    t_threadpool pool = pool_init(2);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(dispatch_threadpool(pool, nullptr, nullptr), -1);
    pool_destroy(pool);
}

TEST_F(ThreadPool, FirstDispatchStartsTheFirstThread)
{
    StdoutTap tap;
    pool_ = pool_init(3);
    EXPECT_EQ(total(), 0);
    ASSERT_EQ(pool_add_worker(pool_, Job::run, &job(0, false)), 0);
    ASSERT_TRUE(eventually([&] { return parked() == 1; }));
    EXPECT_EQ(tap.text(), "create thread#" + std::to_string(static_cast<long>(thread_of(0))) + "\n");
}

TEST_F(ThreadPool, ParkedWorkersAreReusedLastInFirstOut)
{
    StdoutTap tap;
    pool_ = create_threadpool(3);
    ASSERT_EQ(dispatch(0, true), 0);
    ASSERT_EQ(dispatch(1, true), 0);
    ASSERT_TRUE(board_.wait_until([&] { return board_.started == 2; }));
    release(0);
    ASSERT_TRUE(eventually([&] { return parked() == 1; }));
    release(1);
    ASSERT_TRUE(eventually([&] { return parked() == 2; }));

    ASSERT_EQ(dispatch(2, false), 0);
    ASSERT_TRUE(board_.wait_until([&] { return board_.finished == 3; }));
    EXPECT_EQ(thread_of(2), thread_of(1));  // the worker parked last
    ASSERT_TRUE(eventually([&] { return parked() == 2; }));
    ASSERT_EQ(dispatch(3, false), 0);
    ASSERT_TRUE(board_.wait_until([&] { return board_.finished == 4; }));
    EXPECT_EQ(thread_of(3), thread_of(2));
    EXPECT_EQ(tap.count("create thread#"), 2);
}

TEST_F(ThreadPool, FourthDispatchWaitsForAFreeWorkerAndReusesIt)
{
    StdoutTap tap;
    pool_ = create_threadpool(3);
    for (int i = 0; i < 3; i++)
        ASSERT_EQ(dispatch(i, true), 0);
    // All three hold at once, so they run on three threads.
    ASSERT_TRUE(board_.wait_until([&] { return board_.started == 3; }));
    std::set<pthread_t> threads = {thread_of(0), thread_of(1), thread_of(2)};
    EXPECT_EQ(threads.size(), 3u);

    std::atomic<pid_t> dispatcher_tid{0};
    std::atomic<bool> returned{false};
    std::atomic<int> result{-2};
    std::thread dispatcher([&] {
        dispatcher_tid = static_cast<pid_t>(syscall(SYS_gettid));
        result = dispatch(3, false);
        returned = true;
    });
    ASSERT_TRUE(eventually([&] { return dispatcher_tid != 0 && thread_sleeping(dispatcher_tid); }));
    EXPECT_FALSE(returned);
    EXPECT_EQ(total(), 3);
    EXPECT_EQ(parked(), 0);
    {
        std::lock_guard<std::mutex> lock(board_.mutex);
        EXPECT_EQ(board_.started, 3);
    }

    release(1);
    ASSERT_TRUE(board_.wait_until([&] { return board_.finished == 2; }));
    dispatcher.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(thread_of(3), thread_of(1));
    EXPECT_EQ(jobs_[3].finished_before_start, 1);
    EXPECT_EQ(tap.count("create thread#"), 3);
}

TEST_F(ThreadPool, DestroyWaitsForRunningJobsThenForEveryWorkerToExit)
{
    pool_ = create_threadpool(2);
    ASSERT_EQ(dispatch(0, true), 0);
    ASSERT_EQ(dispatch(1, false), 0);
    ASSERT_TRUE(eventually([&] { return parked() == 1; }));

    StdoutTap tap;
    std::atomic<bool> job_done_when_destroyed{false};
    std::thread destroyer([&] {
        destroy_threadpool(pool_);
        job_done_when_destroyed = done(0);
    });
    ASSERT_TRUE(tap.shows("waiting for 1 thread(s) to finish\n"));
    EXPECT_FALSE(done(0));
    release(0);
    destroyer.join();
    pool_ = nullptr;
    EXPECT_TRUE(job_done_when_destroyed);
    EXPECT_EQ(tap.text(),
              "waiting for 1 thread(s) to finish\n"
              "waiting for 2 thread(s) to exit\n");
}

TEST_F(ThreadPool, DestroyOfAnIdlePoolStopsItsParkedWorkers)
{
    pool_ = create_threadpool(3);
    ASSERT_EQ(dispatch(0, true), 0);
    ASSERT_EQ(dispatch(1, true), 0);
    ASSERT_TRUE(board_.wait_until([&] { return board_.started == 2; }));
    release_all();
    ASSERT_TRUE(eventually([&] { return parked() == 2; }));
    StdoutTap tap;
    destroy_threadpool(pool_);
    pool_ = nullptr;
    EXPECT_EQ(tap.text(), "waiting for 2 thread(s) to exit\n");
}

void* count_job(void* arg)
{
    static_cast<std::atomic<int>*>(arg)->fetch_add(1);
    return nullptr;
}

TEST_F(ThreadPool, ManyDispatchesFromSeveralThreadsRunOnAtMostTheMaximum)
{
    StdoutTap tap;
    pool_ = create_threadpool(3);
    std::atomic<int> runs{0};
    auto burst = [&] {
        for (int i = 0; i < 100; i++)
            ASSERT_EQ(dispatch_threadpool(pool_, count_job, &runs), 0);
    };
    std::thread a(burst), b(burst);
    a.join();
    b.join();
    ASSERT_TRUE(eventually([&] { return runs == 200; }));
    destroy_threadpool(pool_);
    pool_ = nullptr;
    EXPECT_LE(tap.count("create thread#"), 3);
    EXPECT_GE(tap.count("create thread#"), 1);
}

}  // namespace
