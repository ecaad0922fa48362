// Total bounds against a platform that drips or stalls, in both modes: an answer past
// requesttimeout and a download past downloadtimeout end with code 28, three dripping
// requests do not hold a fourth, pavo_cleanup ends slow requests on every thread and never
// starts a queued one, and is refused from inside a callback.
#include <chrono>
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

size_t count_of(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class PipelineBounds : public FieldTest {
protected:
    static void fault(const std::string& base, const std::string& path, const std::string& query)
    {
        httplib::Client(base).Post(("/_control/fault?path=" + path + "&" + query).c_str());
    }
    // On a thread that the 100-second pause holds (pavo_cleanup ends it).
    static void async_request(int id, const std::string& target, const char* file = nullptr,
                              const char* body = "x")
    {
        const std::string path = file != nullptr ? file : "";
        std::thread([=] {
            pavo_addhttpjob(path.empty() ? STORETYPE_MEM : STORETYPE_FILE,
                            path.empty() ? nullptr : path.c_str(), 0, 0, id,
                            path.empty() ? EPAVO_LOGOUT : EPAVO_RESOURCEDOWNLOAD, 0,
                            target.c_str(), body, 1, nullptr, nullptr, nullptr, nullptr);
        }).detach();
    }
    // Hang guard only: a bound that works ends every wait far sooner.
    static bool pump_until(size_t events)
    {
        const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
        while (g_codes.size() < events && Clock::now() < deadline)
            if (pavo_checkmessage() == 0)
                std::this_thread::yield();
        return g_codes.size() >= events;
    }
    template <typename Condition>
    static void wait_for(Condition done)
    {
        const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
        while (!done() && Clock::now() < deadline)
            std::this_thread::yield();
        ASSERT_TRUE(done());
    }
    void SetUp() override
    {
        FieldTest::SetUp();
        g_codes.clear();
    }
};

// 150 bytes in pieces of 10 every 150 ms: about two seconds, past a bound of one.
const std::string kDripAnswer =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"m\"/></Root>" + std::string(99, ' ');

TEST_F(PipelineBounds, TotalBoundEndsADrippingAnswerOrDownloadWithCode28)
{
    struct Row {
        const char* key;
        const char* value;
        const char* path;
        int httpecode;
    } rows[] = {
        {"requesttimeout", "1", "/Service/Report", 28},
        {"requesttimeout", "0", "/Service/Report", 0},
        {"downloadtimeout", "1", "/files/skin-2026.01.res", 28},
        {"downloadtimeout", "0", "/files/skin-2026.01.res", 0},
    };
    const std::string file = dir_.file("resource");
    for (bool async : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.key) + "=" + row.value + (async ? " async" : " sync"));
            start({{row.key, row.value}});
            sim_->reset();
            fault(sim_->base_url(), row.path, "body=trickle&piece=10&pause_ms=150");
            const bool download = row.path[1] == 'f';
            if (!download)
                sim_->set_answer(row.path, kDripAnswer);
            remove(file.c_str());
            tpavo_httpecode code = PAVO_HTTPE_OK;
            if (async) {
                g_codes.clear();
                pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_code);
                pavo_setfuncmode(FUNCMODE_ASYNC);
                async_request(1, url(row.path), download ? file.c_str() : nullptr);
                ASSERT_TRUE(pump_until(1));
                code = static_cast<tpavo_httpecode>(g_codes[1]);
            } else {
                EXPECT_EQ(pavo_addhttpjob(download ? STORETYPE_FILE : STORETYPE_MEM,
                                          download ? file.c_str() : nullptr, 0, 0, 1, 0, 0,
                                          url(row.path).c_str(), "x", 1, nullptr, nullptr, &code,
                                          nullptr),
                          row.httpecode == 0 ? 0 : -1);
            }
            if (!(async && download)) {  // a download's event carries no result
                EXPECT_EQ(code, row.httpecode);
            }
            if (download) {
                EXPECT_EQ(file_exists(file), row.httpecode == 0);
            }
        }
    }
}

TEST_F(PipelineBounds, ThreeDrippingRequestsDoNotHoldTheFourth)
{
    start({{"requesttimeout", "1"}});
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_code);
    fault(sim_->base_url(), "/Service/Report", "body=trickle&piece=1&pause_ms=500");
    pavo_setfuncmode(FUNCMODE_ASYNC);
    for (int id = 1; id <= 3; ++id) {
        sim_->set_answer("/Service/Report", kDripAnswer);
        async_request(id, url("/Service/Report"));
    }
    wait_for([] { return sim_->requests().size() == 3; });  // every worker busy
    async_request(4, url("/Service/Logout"));
    ASSERT_TRUE(pump_until(4));
    EXPECT_EQ(g_codes, (std::map<int, int>{{1, 28}, {2, 28}, {3, 28}, {4, 0}}));
}

TEST_F(PipelineBounds, CleanupEndsSlowRequestsOnEveryThreadAndStartsNoQueuedOne)
{
    struct Row {
        int sync;
        int async;  // beyond three, the jobs wait for a worker
    } rows[] = {{2, 0}, {0, 5}, {2, 4}};
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.sync) + " sync, " + std::to_string(row.async) + " async");
        pavo_test::PlatformSim slow;  // its stalled answers end with it
        slow.set_fault("/Service/Report", 0, 60000);
        start({{"stalltimeout", "0"}, {"requesttimeout", "0"}});
        const std::string target = slow.base_url() + "/Service/Report";
        std::vector<std::future<std::pair<int, int>>> sync;
        for (int i = 0; i < row.sync; ++i)
            sync.push_back(std::async(std::launch::async, [target] {
                tpavo_httpecode code = PAVO_HTTPE_OK;
                int status = pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, 0, 0, 0,
                                             target.c_str(), "s", 1, nullptr, nullptr, &code,
                                             nullptr);
                return std::make_pair(status, static_cast<int>(code));
            }));
        wait_for([&] { return slow.requests().size() == static_cast<size_t>(row.sync); });
        pavo_setfuncmode(FUNCMODE_ASYNC);
        for (int id = 0; id < row.async; ++id)
            async_request(id, target, nullptr, "a");
        const size_t started = row.sync + std::min(row.async, 3);
        wait_for([&] {
            return slow.requests().size() == started &&
                   count_of(log_text(), "post url data:a") == static_cast<size_t>(row.async);
        });
        auto cleanup = std::async(std::launch::async, pavo_cleanup);
        ASSERT_EQ(cleanup.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        for (auto& request : sync)
            EXPECT_EQ(request.get(), std::make_pair(-1, 42));  // aborted by pavo_cleanup
        EXPECT_EQ(count_of(log_text(), "pavo_upload url="), started);
    }
}

int g_refusals[2];

int end_library_inside(tpavo_event*)
{
    g_refusals[0] = pavo_cleanup();
    g_refusals[1] = pavo_init(nullptr);
    g_codes[0] = 0;
    return 0;
}

TEST_F(PipelineBounds, CleanupAndInitInsideACallbackAreRefused)
{
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, end_library_inside);
    pavo_setfuncmode(FUNCMODE_ASYNC);
    async_request(1, url("/Service/Report"));
    testing::internal::CaptureStdout();
    const bool ran = pump_until(1);
    const std::string console = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ran);
    EXPECT_EQ(g_refusals[0], -1);
    EXPECT_EQ(g_refusals[1], -1);
    EXPECT_EQ(count_of(console, "pavo_cleanup refused: called from a callback\r\n"), 1u);
    EXPECT_EQ(count_of(console, "pavo_init refused: called from a callback\r\n"), 1u);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_code);
    async_request(2, url("/Service/Report"));
    EXPECT_TRUE(pump_until(2));  // still working
}

}  // namespace
