/*
 * soak.cpp - a long run of the library against the platform simulator: synchronous
 * category-list requests, then asynchronous ones each on its own thread while this
 * thread pumps the queue (joined callers: see run_async); prints requests per second, resident
 * memory and open descriptors before and after each phase. Usage: pavo_soak SIMULATOR DATADIR
 * [SYNC_COUNT [ASYNC_COUNT]]   (defaults 10000, 1000)
 */
#include <dirent.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "pavo.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

FILE* g_report = stderr;
std::atomic<int> g_answered{0};
std::atomic<int> g_unanswered{0};

struct Usage {
    long rss_kib;
    int fds;
};

Usage usage_now()
{
    Usage usage{0, 0};
    long pages = 0, resident = 0;
    if (FILE* statm = fopen("/proc/self/statm", "r")) {
        if (fscanf(statm, "%ld %ld", &pages, &resident) == 2)
            usage.rss_kib = resident * (sysconf(_SC_PAGESIZE) / 1024);
        fclose(statm);
    }
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (dirent* entry = readdir(dir))
            usage.fds += entry->d_name[0] != '.';
        closedir(dir);
        usage.fds -= 1;  // the directory's own descriptor
    }
    return usage;
}

void report(const char* phase, const Usage& before, const Usage& after, int requests,
            double seconds)
{
    fprintf(g_report, "%-6s %6d requests %8.0f req/s  RSS %ld -> %ld KiB (%+ld)  fds %d -> %d\n",
            phase, requests, requests / seconds, before.rss_kib, after.rss_kib,
            after.rss_kib - before.rss_kib, before.fds, after.fds);
}

// Starts the simulator and returns its base address (its first output line), or "".
std::string start_simulator(const char* program, const char* data, pid_t& pid)
{
    int out[2];
    if (pipe(out) != 0)
        return "";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    char* argv[] = {const_cast<char*>(program), const_cast<char*>("--data"),
                    const_cast<char*>(data), nullptr};
    int failed = posix_spawn(&pid, program, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string base;
    char c;
    while (failed == 0 && read(out[0], &c, 1) == 1 && c != '\n')
        base += c;
    close(out[0]);
    return base;
}

bool sync_request()
{
    if (pavo_querycategorylist(1, "", 1, 0) != PAVO_STATUS_SUCCESS)
        return false;
    tpavo_result* result = pavo_getresult();
    bool ok = result != nullptr && result->resultcode >= 0 && result->data.ptr != nullptr;
    pavo_freeresult(result);
    return ok;
}

constexpr int kMaxCallers = 32;

struct Caller {
    pthread_t thread;
    std::atomic<bool> event_seen{false};
    std::atomic<bool> returned{false};
};

Caller* g_callers = nullptr;

int count_event(tpavo_event* event)
{
    (event->data != nullptr ? g_answered : g_unanswered).fetch_add(1);
    g_callers[event->eventid].event_seen = true;
    return 0;
}

void* async_request(void* arg)
{
    Caller* caller = static_cast<Caller*>(arg);
    pavo_querycategorylist(static_cast<unsigned>(caller - g_callers), "", 1, 0);
    caller->returned = true;
    return nullptr;
}

void ignore_signal(int) {}

// Asynchronous requests hold their caller for 100 seconds; once a request's event has come,
// its caller is woken with a signal and joined, so that at most kMaxCallers thread stacks
// exist and the figures show the library rather than the callers.
double run_async(int count, int& most_queued)
{
    struct sigaction wake = {};
    wake.sa_handler = ignore_signal;  // no SA_RESTART: the sleep ends early
    sigaction(SIGUSR1, &wake, nullptr);
    g_callers = new Caller[count];
    int launched = 0, joined = 0;
    const Clock::time_point start = Clock::now();
    const Clock::time_point give_up = start + std::chrono::seconds(120);
    while (joined < count && Clock::now() < give_up) {
        if (launched < count && launched - joined < kMaxCallers &&
            pthread_create(&g_callers[launched].thread, nullptr, async_request,
                           &g_callers[launched]) == 0)
            ++launched;
        int queued = pavo_getmessagecount();
        most_queued = queued > most_queued ? queued : most_queued;
        bool idle = pavo_checkmessage() == 0;
        for (int i = joined; i < launched && g_callers[i].event_seen; ++i, ++joined) {
            while (!g_callers[i].returned) {
                pthread_kill(g_callers[i].thread, SIGUSR1);
                usleep(50);
            }
            pthread_join(g_callers[i].thread, nullptr);
        }
        if (idle && launched - joined >= kMaxCallers)
            usleep(100);
    }
    delete[] g_callers;
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: pavo_soak SIMULATOR DATADIR [SYNC_COUNT [ASYNC_COUNT]]\n");
        return 2;
    }
    const int sync_count = argc > 3 ? atoi(argv[3]) : 10000;
    const int async_count = argc > 4 ? atoi(argv[4]) : 1000;
    signal(SIGPIPE, SIG_IGN);
    pid_t sim = -1;
    const std::string base = start_simulator(argv[1], argv[2], sim);
    if (base.empty()) {
        fprintf(stderr, "pavo_soak: the simulator did not start\n");
        return 1;
    }
    char dir[] = "/tmp/pavo-soak-XXXXXX";
    if (mkdtemp(dir) == nullptr)
        return 1;
    const std::string conf = std::string(dir) + "/korix.conf";
    if (FILE* file = fopen(conf.c_str(), "w")) {
        fprintf(file, "[system]\nopenurl=%s/Open\nlogmode=2\nlogdirectory=%s\n", base.c_str(),
                dir);
        fclose(file);
    }
    // The log's colour sequences reach standard output whatever logmode says.
    g_report = fdopen(dup(1), "w");
    setvbuf(g_report, nullptr, _IOLBF, 0);
    if (freopen("/dev/null", "w", stdout) == nullptr)
        return 1;

    pavo_init_param param = {};
    param.oem_name = const_cast<char*>("PAVO");
    param.terminal_type = const_cast<char*>("STB100");
    param.device_id = const_cast<char*>("SIM0000001");
    param.workdirectory = dir;
    param.ipversion = 4;
    if (pavo_init(&param) != PAVO_STATUS_SUCCESS ||
        pavo_open(1, OPENMODE_STBCODE, "000000PAVO0000STB100V4000000SIM0000001", nullptr) != 0 ||
        pavo_login(2) != 0) {
        fprintf(g_report, "pavo_soak: could not open and log in at %s\n", base.c_str());
        return 1;
    }
    int failures = 0;
    for (int i = 0; i < 200; ++i)  // warm-up: pools, libcurl, the log file
        failures += !sync_request();

    Usage before = usage_now();
    Clock::time_point start = Clock::now();
    for (int i = 0; i < sync_count; ++i)
        failures += !sync_request();
    Usage after = usage_now();
    report("sync", before, after, sync_count,
           std::chrono::duration<double>(Clock::now() - start).count());

    pavo_registercallback(PAVO_CALLBACK_DEFAULT, count_event);
    pavo_setfuncmode(FUNCMODE_ASYNC);
    int most_queued = 0;
    run_async(100, most_queued);  // warm-up: the workers and their stacks
    g_answered = 0;
    g_unanswered = 0;
    before = usage_now();
    const double async_seconds = run_async(async_count, most_queued);
    after = usage_now();
    report("async", before, after, async_count, async_seconds);
    fprintf(g_report,
            "sync failures %d; async answered %d, unanswered (dropped) %d of %d, "
            "queue peak %d\n",
            failures, g_answered.load(), g_unanswered.load(), async_count, most_queued);
    const bool complete = g_answered + g_unanswered == async_count;
    pavo_setfuncmode(FUNCMODE_SYNC);
    pavo_cleanup();
    kill(sim, SIGTERM);
    waitpid(sim, nullptr, 0);
    return complete && failures == 0 ? 0 : 1;
}
