// A platform that drips, stalls or fails, and a disk that refuses, in both modes: answers past
// requesttimeout and downloads past downloadtimeout end with code 28, three dripping requests
// do not hold a fourth, pavo_cleanup ends slow requests on every thread, starts no queued one
// and is refused inside a callback; a download's target changes only after status 200, nothing
// is left beside it, and memory stays flat with the file's size.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <map>
#include <string>
#include <thread>

#include <httplib.h>

#include "field_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

std::map<int, int> g_codes;  // eventid -> httpecode of its result, -1 without one

int record_code(tpavo_event* event)
{
    const auto* result = static_cast<const tpavo_result*>(event->data);
    g_codes[event->eventid] = result != nullptr ? result->httpecode : -1;
    return 0;
}

size_t entries_in(const std::string& dir)
{
    return std::distance(std::filesystem::directory_iterator(dir), {});
}

// Hang guard only: every bound that works ends the wait far sooner.
template <typename Condition>
bool wait_for(Condition done)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    while (!done() && Clock::now() < deadline)
        if (pavo_checkmessage() == 0)
            std::this_thread::yield();
    return done();
}

// 150 bytes in pieces of 10 every 150 ms: about two seconds, past a bound of one.
const std::string kDripAnswer =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"m\"/></Root>" + std::string(99, ' ');
constexpr const char* kResource = "/files/skin-2026.01.res";

class PipelineBounds : public FieldTest {
protected:
    void SetUp() override
    {
        FieldTest::SetUp();
        g_codes.clear();
    }
    static void fault(const std::string& path, const std::string& query)
    {
        httplib::Client(sim_->base_url())
            .Post(("/_control/fault?path=" + path + "&" + query).c_str());
    }
    // An asynchronous request runs on a thread that its pause holds (pavo_cleanup ends it).
    static void async_request(int id, const std::string& target, const std::string& file = "",
                              const char* body = "x")
    {
        pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_code);
        pavo_setfuncmode(FUNCMODE_ASYNC);
        std::thread([=] {
            pavo_addhttpjob(file.empty() ? STORETYPE_MEM : STORETYPE_FILE,
                            file.empty() ? nullptr : file.c_str(), 0, 0, id,
                            file.empty() ? EPAVO_LOGOUT : EPAVO_RESOURCEDOWNLOAD, 0,
                            target.c_str(), body, 1, nullptr, nullptr, nullptr, nullptr);
        }).detach();
    }
    // {status, httpecode}; asynchronous: {0 once the event came, the event's code}.
    static std::pair<int, int> transfer(bool async, const std::string& target,
                                        const std::string& file = "")
    {
        if (async) {
            g_codes.clear();
            async_request(1, target, file);
            return {wait_for([] { return g_codes.count(1) == 1; }) ? 0 : -100, g_codes[1]};
        }
        tpavo_httpecode code = PAVO_HTTPE_OK;
        int status = pavo_addhttpjob(file.empty() ? STORETYPE_MEM : STORETYPE_FILE,
                                     file.empty() ? nullptr : file.c_str(), 0, 0, 1, 0, 0,
                                     target.c_str(), "x", 1, nullptr, nullptr, &code, nullptr);
        return {status, code};
    }
};

TEST_F(PipelineBounds, TotalBoundEndsADrippingAnswerOrDownloadWithCode28)
{
    struct Row {
        const char *key, *value, *path;
        int httpecode;
    } rows[] = {{"requesttimeout", "1", "/Service/Report", 28},
                {"requesttimeout", "0", "/Service/Report", 0},
                {"downloadtimeout", "1", kResource, 28},
                {"downloadtimeout", "0", kResource, 0}};
    for (bool async : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.key) + "=" + row.value + (async ? " async" : " sync"));
            start({{row.key, row.value}});
            sim_->reset();
            fault(row.path, "body=trickle&piece=10&pause_ms=150");
            const bool download = row.path == kResource;
            const std::string file = download ? dir_.file("resource") : "";
            if (!download)
                sim_->set_answer(row.path, kDripAnswer);
            remove(dir_.file("resource").c_str());
            // A download's event carries no result: its file tells.
            const std::pair<int, int> expected = {async || row.httpecode == 0 ? 0 : -1,
                                                  async && download ? -1 : row.httpecode};
            EXPECT_EQ(transfer(async, url(row.path), file), expected);
            EXPECT_EQ(file_exists(dir_.file("resource")), download && row.httpecode == 0);
        }
    }
}

TEST_F(PipelineBounds, ThreeDrippingRequestsDoNotHoldTheFourth)
{
    start({{"requesttimeout", "1"}});
    fault("/Service/Report", "body=trickle&piece=1&pause_ms=500");
    for (int id = 1; id <= 3; ++id) {
        sim_->set_answer("/Service/Report", kDripAnswer);
        async_request(id, url("/Service/Report"));
    }
    ASSERT_TRUE(wait_for([] { return sim_->requests().size() == 3; }));  // every worker busy
    async_request(4, url("/Service/Logout"));
    ASSERT_TRUE(wait_for([] { return g_codes.size() == 4; }));
    EXPECT_EQ(g_codes, (std::map<int, int>{{1, 28}, {2, 28}, {3, 28}, {4, 0}}));
}

TEST_F(PipelineBounds, CleanupEndsSlowRequestsOnEveryThreadAndStartsNoQueuedOne)
{
    // {sync, async}: beyond three, asynchronous jobs wait for a worker.
    for (const auto& [sync_count, async_count] : {std::pair{2, 0}, {0, 5}, {2, 4}}) {
        SCOPED_TRACE(std::to_string(sync_count) + " sync, " + std::to_string(async_count));
        pavo_test::PlatformSim slow;  // its stalled answers end with it
        slow.set_fault("/Service/Report", 0, 60000);
        start({{"stalltimeout", "0"}, {"requesttimeout", "0"}});
        const std::string target = slow.base_url() + "/Service/Report";
        std::vector<std::future<std::pair<int, int>>> sync;
        for (int i = 0; i < sync_count; ++i)
            sync.push_back(
                std::async(std::launch::async, [&] { return transfer(false, target); }));
        ASSERT_TRUE(wait_for([&] { return slow.requests().size() == sync.size(); }));
        for (int id = 0; id < async_count; ++id)
            async_request(id, target, "", "a");
        const size_t started = sync_count + std::min(async_count, 3);
        ASSERT_TRUE(wait_for([&] {
            return slow.requests().size() == started &&
                   count_of(log_text(), "post url data:a") == static_cast<size_t>(async_count);
        }));
        auto cleanup = std::async(std::launch::async, pavo_cleanup);
        ASSERT_EQ(cleanup.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        for (auto& request : sync)
            EXPECT_EQ(request.get(), std::make_pair(-1, 42));  // aborted by pavo_cleanup
        EXPECT_EQ(count_of(log_text(), "pavo_upload url="), started);
    }
}

int g_refusals[2];

int end_library_inside(tpavo_event* event)
{
    g_refusals[0] = pavo_cleanup();
    g_refusals[1] = pavo_init(nullptr);
    return record_code(event);
}

TEST_F(PipelineBounds, CleanupAndInitInsideACallbackAreRefused)
{
    async_request(1, url("/Service/Report"));
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, end_library_inside);
    testing::internal::CaptureStdout();
    const bool ran = wait_for([] { return g_codes.size() == 1; });
    const std::string console = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ran);
    EXPECT_EQ(g_refusals[0], -1);
    EXPECT_EQ(g_refusals[1], -1);
    EXPECT_EQ(count_of(console, "pavo_cleanup refused: called from a callback\r\n"), 1u);
    EXPECT_EQ(count_of(console, "pavo_init refused"), 1u);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    async_request(2, url("/Service/Report"));
    EXPECT_TRUE(wait_for([] { return g_codes.size() == 2; }));  // still working
}

TEST_F(PipelineBounds, DownloadTargetChangesOnlyAfterStatus200AndNothingIsLeftBeside)
{
    // The fault of the resource's path, the target's folder under the work directory, the
    // file size limit (RLIMIT_FSIZE, 0 none), the status in synchronous mode, whether the
    // target takes the body (else the old content stays, and none in a missing folder).
    struct Row {
        const char *name, *streamdownloads, *strictlocal, *fault, *folder;
        long size_limit;
        int status;
        bool replaced;
    } rows[] = {
        {"200", "1", "0", "", "", 0, 0, true},
        {"200, in memory", "0", "0", "", "", 0, 0, true},
        {"404", "1", "0", "status=404", "", 0, -1, false},
        {"503, in memory", "0", "0", "status=503", "", 0, -1, false},
        {"cut short", "1", "0", "body=cut", "", 0, -1, false},
        {"missing folder", "1", "0", "", "none/", 0, 0, false},
        {"missing folder, strict", "1", "1", "", "none/", 0, -1, false},
        {"short write, strict", "1", "1", "", "", 64, -1, false},
        {"short write, strict, in memory", "0", "1", "", "", 64, -1, false},
    };
    const std::string body = read_file(std::string(PAVO_SIM_DATA) + "/files/skin-2026.01.res");
    signal(SIGXFSZ, SIG_IGN);  // a write past the size limit fails instead
    for (bool async : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.name) + (async ? " async" : " sync"));
            start({{"streamdownloads", row.streamdownloads}, {"strictlocal", row.strictlocal}});
            sim_->reset();
            fault(kResource, row.fault);
            const std::string target = dir_.file(std::string(row.folder) + "resource");
            const bool beside = row.folder[0] == '\0';
            if (beside)
                write_file(target, "old");
            const size_t entries = entries_in(dir_.path());
            rlimit unlimited{};
            getrlimit(RLIMIT_FSIZE, &unlimited);
            rlimit limit{static_cast<rlim_t>(row.size_limit), unlimited.rlim_max};
            if (row.size_limit != 0)
                setrlimit(RLIMIT_FSIZE, &limit);
            const int status = transfer(async, url(kResource), target).first;
            setrlimit(RLIMIT_FSIZE, &unlimited);
            EXPECT_EQ(status, async ? 0 : row.status);
            EXPECT_EQ(entries_in(dir_.path()), entries);  // korix.conf, pavo.log, the target
            EXPECT_EQ(beside ? read_file(target) : std::to_string(file_exists(target)),
                      beside ? (row.replaced ? body : "old") : "0");
            const bool streamed = row.streamdownloads[0] == '1';
            if (async && row.status == 0 && beside) {
                EXPECT_EQ(log_text().find(body) != std::string::npos, !streamed);
                EXPECT_EQ(count_of(log_text(), "pavo_globalmessagecallback response: " +
                                                   std::to_string(body.size()) + " bytes to " +
                                                   target + "\r\n"),
                          streamed ? 1u : 0u);
            }
        }
    }
}

// Before streaming a download's peak grew by the file's size (twice in asynchronous mode).
TEST_F(PipelineBounds, DownloadPeakMemoryStaysFlatWithTheFileSize)
{
    constexpr long kSmall = 1000000, kLarge = 64000000;
    fault("/files/small", "body=fill&size=" + std::to_string(kSmall));
    fault("/files/large", "body=fill&size=" + std::to_string(kLarge));
    const std::string target = dir_.file("large");
    auto peak_kb = [] {
        rusage usage{};
        return getrusage(RUSAGE_SELF, &usage), usage.ru_maxrss;
    };
    for (bool async : {false, true}) {
        SCOPED_TRACE(async ? "async" : "sync");
        const long before = peak_kb();
        ASSERT_EQ(transfer(async, url("/files/small"), target).first, 0);
        const long small = peak_kb();
        ASSERT_EQ(transfer(async, url("/files/large"), target).first, 0);
        // A sixteenth of the file: room for libcurl's and the allocator's own noise.
        EXPECT_LT(peak_kb() - small, kLarge / 1024 / 16) << "1 MB: " << small - before << " KB";
        struct stat file {};
        EXPECT_EQ(stat(target.c_str(), &file) == 0 ? file.st_size : 0, kLarge);
    }
}

}  // namespace
