// The request pipeline against a misbehaving platform, in both modes: every fault the
// simulator can play ends in its documented codes within the stall time-out and the
// answer cap, and the next request on the same library succeeds.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <httplib.h>

#include "field_fixture.h"

namespace {

struct FaultRow {
    const char* name;
    // Query of /_control/fault for the path; "refused": no server; "to=": this address,
    // {sim} standing for the simulator's host and port, {secret} for a local file's path.
    const char* fault;
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
    {"trickle below limit", "body=trickle&piece=1&pause_ms=1500", "1", "65536", -1, 28, 200,
     false},
    {"trickle above limit", "body=trickle&piece=300&pause_ms=200", "1", "65536", 0, 0, 200, true},
    {"closed in body", "body=cut", "1", "65536", -1, 18, 200, false},
    {"length beyond body", "body=short", "1", "65536", -1, 18, 200, true},
    {"truncated XML", "body=truncated", "1", "65536", 0, 0, 200, false},
    // Any well-formed page gives a record of empty fields: kept as the frame says.
    {"captive portal", "body=portal", "1", "65536", 0, 0, 200, true},
    {"redirect", "body=redirect", "1", "65536", -1, 0, 302, false},
    {"redirect to file", "body=redirect&location=file:///etc/passwd", "1", "65536", -1, 0, 302,
     false},
    // Only http and https: libcurl refuses every other scheme (code 1) before a byte moves.
    {"file", "to=file://{secret}", "1", "65536", -1, 1, 200, false},
    {"mixed-case file", "to=FiLe://{secret}", "1", "65536", -1, 1, 200, false},
    {"gopher", "to=gopher://{sim}/_x", "1", "65536", -1, 1, 200, false},
    {"dict", "to=dict://{sim}/stats", "1", "65536", -1, 1, 200, false},
    {"ftp", "to=ftp://{sim}/x", "1", "65536", -1, 1, 200, false},
    {"scp", "to=scp://{sim}/x", "1", "65536", -1, 1, 200, false},
    {"ldap", "to=ldap://{sim}/x", "1", "65536", -1, 1, 200, false},
    {"telnet", "to=telnet://{sim}", "1", "65536", -1, 1, 200, false},
    {"upper-case HTTP", "to=HTTP://{sim}/Service/Login", "1", "65536", 0, 0, 200, true},
    // No stall limit: a loaded machine may pause a 10 MB transfer for a second.
    {"10 MB, no cap", "body=pad&size=10000000", "0", "0", 0, 0, 200, true},
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

constexpr const char* kSecret = "local-file-content-7f3a";

class PipelineFaults : public FieldTest {
protected:
    std::string with_places(std::string address) const
    {
        write_file(dir_.file("secret.txt"), kSecret);
        for (const auto& [place, text] :
             {std::pair{std::string("{sim}"), sim_->base_url().substr(7)},
              std::pair{std::string("{secret}"), dir_.file("secret.txt")}})
            if (size_t at = address.find(place); at != std::string::npos)
                address.replace(at, place.size(), text);
        return address;
    }

    // Runs the request on a thread of its own (it waits out the asynchronous pause there)
    // and pumps until its one event; bounded.
    template <typename Request>
    static void pump_one(Request request)
    {
        g_events = 0;
        g_event_had_result = false;
        pavo_setfuncmode(FUNCMODE_ASYNC);
        std::thread(request).detach();
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (g_events == 0 && std::chrono::steady_clock::now() < deadline)
            if (pavo_checkmessage() == 0)
                std::this_thread::yield();
        EXPECT_EQ(g_events, 1);
        EXPECT_TRUE(g_event_had_result);
    }

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
            pump_one([target] {
                pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, 1, EPAVO_LOGIN, 0, target.c_str(),
                                "x", 1, nullptr, nullptr, nullptr, nullptr);
            });
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
            const std::string fault = row.fault;
            if (fault == "refused")
                target = "http://127.0.0.1:" + std::to_string(pavo_test::refused_port()) +
                         "/Service/Login";
            else if (fault.rfind("to=", 0) == 0)
                target = with_places(fault.substr(3));
            else
                httplib::Client(sim_->base_url())
                    .Post(("/_control/fault?path=/Service/Login&" + std::string(row.fault))
                              .c_str());
            Outcome out = login(async, target);
            const bool whole = std::string(row.fault).find("size=10000000") != std::string::npos;
            if (!async) {
                EXPECT_EQ(out.status, row.status);
                EXPECT_TRUE(!whole || out.size == 10000000u) << "accepted whole";
            }
            EXPECT_EQ(out.httpecode, row.httpecode);
            EXPECT_EQ(out.httpretcode, row.httpretcode);
            EXPECT_EQ(out.record, row.record && (async || row.status == 0));
            EXPECT_EQ(log_text().find(kSecret), std::string::npos)
                << "a local file reached the log";

            sim_->clear_faults();
            Outcome next = login(async, login_url);
            EXPECT_EQ(next.status, 0);
            EXPECT_EQ(next.httpecode, 0);
            EXPECT_TRUE(next.record) << "the next request succeeds";
        }
    }
};

// Answers holding values the session must not take: service addresses of another scheme or
// with blanks or control bytes (always), values that would break korix.conf's lines (while
// safeconfig is 1). Such an answer is the failure result with one log line, in both modes;
// state, properties and korix.conf stay as they were.
struct HostileRow {
    const char* name;
    bool open;  // an open answer, else a login answer
    const char* element;
    const char* value;
    const char* safeconfig;
    bool taken;
};

constexpr HostileRow kHostileRows[] = {
    {"gopher", false, "EpgSrvAddress", "gopher://127.0.0.1:70/_x", "1", false},
    {"file", false, "ServiceAddress", "file:///etc/passwd", "1", false},
    {"mixed-case file", true, "AAASrvAddress", "FiLe:///etc/passwd", "1", false},
    {"dict, safeconfig 0", false, "DRMSrvAddress2", "dict://h:11211/stats", "0", false},
    {"space", false, "AAASrvAddress", "http://h/a b", "0", false},
    {"tab", true, "AAASrvAddress", "http://h/\tx", "0", false},
    {"line break in address", true, "AAASrvAddress", "http://h/\r\n[system]", "0", false},
    {"upper-case HTTP", false, "EpgSrvAddress", "HTTP://127.0.0.1:1/x", "1", true},
    {"mixed-case https", true, "AAASrvAddress", "hTTpS://h/x", "1", true},
    {"host and port", true, "AAASrvAddress", "127.0.0.1:8080", "1", true},
    {"LF in user id", true, "UserID", "u1\nstalltimeout=0", "1", false},
    {"CRLF in user id", true, "UserID", "u1\r\nopenurl=http://evil/", "1", false},
    {"LF in user id, safeconfig 0", true, "UserID", "u1\nstalltimeout=0", "0", true},
    {"user id starting [", true, "UserID", "[system]", "1", true},
};

TEST_F(PipelineFaults, AnswerValuesTheSessionMustNotTakeFailTheRequestInBothModes)
{
    for (bool async : {false, true}) {
        for (const HostileRow& row : kHostileRows) {
            SCOPED_TRACE(std::string(row.name) + (async ? " (async)" : " (sync)"));
            start({{"safeconfig", row.safeconfig},
                   {"userid", "u0"},
                   {"openurl", url("/Open")},
                   {"aaasrvaddress", sim_->base_url()}});
            const std::string conf_before = read_file(dir_.file("korix.conf"));
            const tpavo_state state_before = row.open ? PAVO_STATE_INITED : PAVO_STATE_OPENED;
            pavo_setstate(state_before);
            // A missing element reads as the one before it: the open answer brings addresses.
            sim_->set_answer(row.open ? "/Open" : "/Service/Login",
                             std::string("<Root><Result ResultCode=\"0\"/><Response><") +
                                 row.element + ">" + row.value + "</" + row.element + ">" +
                                 (row.open ? "<AAASrvAddress>http://h/a</AAASrvAddress>" : "") +
                                 "</Response></Root>");
            auto request = [open = row.open] {
                return open ? pavo_open(1, OPENMODE_STBCODE, "x", nullptr) : pavo_login(1);
            };
            pavo_registercallback(PAVO_CALLBACK_AAA, record_event);
            EXPECT_EQ(async ? (pump_one(request), 0) : request(), 0);
            EXPECT_EQ(async ? g_event_result.resultcode : pavo_getresult()->resultcode,
                      row.taken ? 0 : -9000);
            const std::string log = log_text(),
                              refusal = row.open ? "open answer refused" : "login answer refused";
            EXPECT_EQ(log.find(refusal) == std::string::npos, row.taken);
            EXPECT_EQ(log.find(refusal), log.rfind(refusal)) << "logged once";
            std::string property(row.element), value(PAVO_PROP_SIZE, '\0');
            std::transform(property.begin(), property.end(), property.begin(), ::tolower);
            pavo_readprop(property.c_str(), &value[0], PAVO_PROP_SIZE);
            EXPECT_EQ(value.c_str() == std::string(row.value), row.taken);
            if (!row.taken) {
                EXPECT_EQ(pavo_getstate(), state_before);
                EXPECT_EQ(read_file(dir_.file("korix.conf")), conf_before);
            }
        }
    }
}

TEST_F(PipelineFaults, EveryFaultEndsInItsCodesAndLeavesTheLibraryUsableSync)
{
    run_matrix(false);
}

TEST_F(PipelineFaults, EveryFaultEndsInItsCodesAndLeavesTheLibraryUsableAsync)
{
    run_matrix(true);
}

}  // namespace
