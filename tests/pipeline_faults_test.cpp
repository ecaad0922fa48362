// The request pipeline against a misbehaving platform, in both modes: every fault the
// simulator can play ends in its documented codes within the stall time-out and the
// answer cap, and the next request on the same library succeeds.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <httplib.h>

#include "field_fixture.h"

namespace {

struct FaultRow {
    const char* name;
    const char* fault;  // query of /_control/fault for the path; "refused": no server
    const char* stalltimeout;
    const char* maxanswersize;  // nullptr: the default
    int status;
    int httpecode;
    long httpretcode;
    // What arrived parses into a login record. A synchronous request parses only after a
    // good transfer; a worker hands whatever arrived to the parser.
    bool record;
};

constexpr FaultRow kRows[] = {
    {"refused", "refused", "1", "65536", -1, 7, 200, false},
    {"stall before status", "delay_ms=3000", "1", "65536", -1, 28, 200, false},
    {"stall, no limit", "delay_ms=1500", "0", "65536", 0, 0, 200, true},
    // libcurl averages the speed over a few seconds: bytes just before a stall delay its end.
    {"stall in body", "body=stall&pause_ms=9000", "1", "65536", -1, 28, 200, false},
    {"trickle below limit", "body=trickle&piece=1&pause_ms=1500", "1", "65536", -1, 28, 200, false},
    {"trickle above limit", "body=trickle&piece=300&pause_ms=200", "1", "65536", 0, 0, 200, true},
    {"closed in body", "body=cut", "1", "65536", -1, 18, 200, false},
    {"length beyond body", "body=short", "1", "65536", -1, 18, 200, true},
    {"truncated XML", "body=truncated", "1", "65536", 0, 0, 200, false},
    // Any well-formed page gives a record of empty fields: kept as the frame says.
    {"captive portal", "body=portal", "1", "65536", 0, 0, 200, true},
    {"redirect", "body=redirect", "1", "65536", -1, 0, 302, false},
    {"10 MB, no cap", "body=pad&size=10000000", "1", "0", 0, 0, 200, true},
    {"over default cap", "body=flood&size=9000000", "1", nullptr, -1, 23, 200, false},
    {"unasked gzip", "body=gzip", "1", "65536", 0, 0, 200, false},
};

constexpr const char* kLoginAnswer =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"m\"/><Response><ServerAuthenticator>SA"
    "</ServerAuthenticator><UserToken>T</UserToken></Response></Root>";

std::atomic<int> g_events{0};
tpavo_result g_event_result;
bool g_event_had_result = false;

int record_event(tpavo_event* event)
{
    g_event_had_result = event->data != nullptr;
    if (g_event_had_result)
        g_event_result = *static_cast<tpavo_result*>(event->data);
    g_events.fetch_add(1);
    return 0;
}

struct Outcome {
    int status = 0;
    int httpecode = 0;
    long httpretcode = 0;
    bool record = false;
    size_t size = 0;
};

class PipelineFaults : public FieldTest {
protected:
    void restart(const FaultRow& row)
    {
        pavo_test::ConfEntries conf = {{"stalltimeout", row.stalltimeout}};
        if (row.maxanswersize != nullptr)
            conf.push_back({"maxanswersize", row.maxanswersize});
        start(conf);
        pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_event);
    }

    Outcome login(bool async, const std::string& target)
    {
        // A spare: a stalled handler of the row before may still wake up and take one.
        for (int i = 0; i < 2; ++i)
            sim_->set_answer("/Service/Login", kLoginAnswer);
        Outcome out;
        if (async) {
            g_events = 0;
            pavo_setfuncmode(FUNCMODE_ASYNC);
            std::thread([target] {
                pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, 1, EPAVO_LOGIN, 0, target.c_str(),
                                "x", 1, nullptr, nullptr, nullptr, nullptr);
            }).detach();
            auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (g_events == 0 && std::chrono::steady_clock::now() < deadline)
                if (pavo_checkmessage() == 0)
                    std::this_thread::yield();
            EXPECT_EQ(g_events, 1);
            EXPECT_TRUE(g_event_had_result);
            out.httpecode = g_event_result.httpecode;
            out.httpretcode = g_event_result.httpretcode;
            out.record = g_event_result.data.ptr != nullptr;
            EXPECT_EQ(pavo_getstate(), out.record ? PAVO_STATE_LOGINED : PAVO_STATE_INITED);
            return out;
        }
        void* answer = nullptr;
        tpavo_httpecode ecode = PAVO_HTTPE_OK;
        out.status = pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, 1, EPAVO_LOGIN, 0,
                                     target.c_str(), "x", 1, &answer, &out.size, &ecode,
                                     &out.httpretcode);
        out.httpecode = ecode;
        tpavo_result* result =
            pavo_parse(static_cast<const char*>(answer), out.size, DATATYPE_LOGINRESULT);
        out.record = out.status == 0 && result->data.ptr != nullptr;
        pavo_iner_freeresultitem(result);
        pavo_free(answer);
        return out;
    }

    void run_matrix(bool async)
    {
        const std::string login_url = url("/Service/Login");
        for (const FaultRow& row : kRows) {
            SCOPED_TRACE(std::string(row.name) + (async ? " (async)" : " (sync)"));
            restart(row);
            sim_->reset();
            std::string target = login_url;
            if (std::string(row.fault) == "refused")
                target = "http://127.0.0.1:" + std::to_string(pavo_test::refused_port()) + "/Service/Login";
            else
                httplib::Client(sim_->base_url())
                    .Post(("/_control/fault?path=/Service/Login&" + std::string(row.fault)).c_str());
            Outcome out = login(async, target);
            const bool whole = std::string(row.fault).find("size=10000000") != std::string::npos;
            if (!async) {
                EXPECT_EQ(out.status, row.status);
                EXPECT_TRUE(!whole || out.size == 10000000u) << "accepted whole";
            }
            EXPECT_EQ(out.httpecode, row.httpecode);
            EXPECT_EQ(out.httpretcode, row.httpretcode);
            EXPECT_EQ(out.record, row.record && (async || row.status == 0));

            sim_->clear_faults();
            Outcome next = login(async, login_url);
            EXPECT_EQ(next.status, 0);
            EXPECT_EQ(next.httpecode, 0);
            EXPECT_TRUE(next.record) << "the next request succeeds";
        }
    }
};

TEST_F(PipelineFaults, EveryFaultEndsInItsCodesAndLeavesTheLibraryUsableSync) { run_matrix(false); }

TEST_F(PipelineFaults, EveryFaultEndsInItsCodesAndLeavesTheLibraryUsableAsync) { run_matrix(true); }

}  // namespace
