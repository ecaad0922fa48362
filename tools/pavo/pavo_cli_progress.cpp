/*
 * pavo_cli_progress.cpp - the download meter of the `pavo` command: while a
 * download runs, the bytes that have reached its temporary file beside the
 * target, and the rate, on one line of standard error. Only on a terminal:
 * scripts reading stderr see nothing new.
 */
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "pavo_cli.h"

namespace {

// The library names a download's temporary file "<target>.<pid>.<n>.part"
// (a file in memory-only mode never appears: the meter then shows zero).
long long bytes_so_far(const std::string& pattern)
{
    glob_t found{};
    long long bytes = 0;
    if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &found) == 0) {
        struct stat st {};
        for (size_t i = 0; i < found.gl_pathc; ++i)
            if (stat(found.gl_pathv[i], &st) == 0)
                bytes += st.st_size;
    }
    globfree(&found);
    return bytes;
}

void show(const char* what, long long bytes, double seconds, bool last)
{
    const double rate = seconds > 0 ? bytes / seconds / 1024 : 0;
    fprintf(stderr, "\r\033[K%s: %lld bytes, %.1f s, %.0f KiB/s%s", what, bytes, seconds, rate,
            last ? "\n" : "");
}

}  // namespace

struct CliProgress::Meter {
    std::mutex lock;
    std::condition_variable wake;
    bool done = false;
    std::thread thread;
};

CliProgress::CliProgress(const std::string& target)
{
    if (!isatty(STDERR_FILENO))
        return;
    pattern_ = target + "." + std::to_string(getpid()) + ".*.part";
    start_ = std::chrono::steady_clock::now();
    meter_ = std::make_unique<Meter>();
    meter_->thread = std::thread([this] {
        std::unique_lock<std::mutex> hold(meter_->lock);
        while (!meter_->wake.wait_for(hold, std::chrono::milliseconds(200),
                                      [this] { return meter_->done; }))
            show("download", bytes_so_far(pattern_), elapsed(), false);
    });
}

// The download ended well: the file in place is the whole of it.
void CliProgress::finish(const std::string& target)
{
    if (!meter_)
        return;
    stop();
    struct stat st {};
    if (stat(target.c_str(), &st) == 0)
        show("download", st.st_size, elapsed(), true);
}

void CliProgress::stop()
{
    if (!meter_)
        return;
    {
        std::lock_guard<std::mutex> hold(meter_->lock);
        meter_->done = true;
    }
    meter_->wake.notify_one();
    meter_->thread.join();
    meter_.reset();
    fputs("\r\033[K", stderr);
}

CliProgress::~CliProgress() { stop(); }

double CliProgress::elapsed() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}
