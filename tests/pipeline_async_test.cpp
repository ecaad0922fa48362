// Request pipeline in asynchronous mode, against the platform simulator: the
// transfer runs on a worker, pavo_checkmessage delivers the answer to the
// callback of the job's type (or slot 0, or nobody), the event it carries,
// the login and open write-backs made before the callback, and the result
// freed afterwards instead of stored.
//
// pavo_addhttpjob blocks its caller for 100 seconds in this mode; every
// request runs on a detached thread that is never joined.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "pipeline_fixture.h"

namespace {

using namespace std::chrono_literals;

// What a callback saw, copied while it ran (the result is freed after it).
struct Delivery {
    int slot = -1;
    tpavo_event event{};
    bool extra_blank = false;
    bool on_pumping_thread = false;
    bool caller_returned = false;
    tpavo_state state = PAVO_STATE_NONE;
    std::string usertoken;
    std::string drmsrvaddress2;
    bool has_result = false;
    tpavo_result result{};  // its pointers are left out: they die with the callback
};

// Callbacks run inside pavo_checkmessage on the test thread only.
std::vector<Delivery> g_deliveries;
pthread_t g_pumping_thread;
std::shared_ptr<std::atomic<bool>> g_caller_returned;

std::string read_prop(const char* name)
{
    char buffer[PAVO_PROP_SIZE];
    pavo_readprop(name, buffer, sizeof buffer);
    return buffer;
}

template <int Slot>
int record_delivery(tpavo_event* event)
{
    Delivery delivery;
    delivery.slot = Slot;
    delivery.event = *event;
    delivery.extra_blank = std::all_of(std::begin(event->extra), std::end(event->extra),
                                       [](char c) { return c == '\0'; });
    delivery.on_pumping_thread = pthread_equal(pthread_self(), g_pumping_thread) != 0;
    delivery.caller_returned = g_caller_returned != nullptr && g_caller_returned->load();
    delivery.state = pavo_getstate();
    delivery.usertoken = read_prop("usertoken");
    delivery.drmsrvaddress2 = read_prop("drmsrvaddress2");
    if (event->data != nullptr) {
        delivery.has_result = true;
        delivery.result = *static_cast<tpavo_result*>(event->data);
        delivery.result.resultmsg = nullptr;
        delivery.result.data.ptr = nullptr;
    }
    g_deliveries.push_back(delivery);
    return 0;
}

template <pavo_callbacktype Slot>
void record_in_slot()
{
    pavo_registercallback(Slot, record_delivery<Slot>);
}

struct AsyncRequest {
    int cbtype;
    int eventtype;
    std::string url;
    int eventscope = EPAVO_SCOPE_REQUEST;
    int eventid = 4242;
    std::string body = "CategoryCode=C01&";
};

// Starts the request on a detached thread: it returns only after its
// 100-second pause, long after the test is over.
void start_async(const AsyncRequest& request)
{
    auto returned = std::make_shared<std::atomic<bool>>(false);
    g_caller_returned = returned;
    std::thread([request, returned] {
        pavo_addhttpjob(STORETYPE_MEM, nullptr, request.cbtype, 0, request.eventid,
                        request.eventtype, request.eventscope, request.url.c_str(),
                        request.body.c_str(), static_cast<int>(request.body.size()), nullptr,
                        nullptr, nullptr, nullptr);
        returned->store(true);
    }).detach();
}

// Pumps the queue until one message has been taken, for at most ten seconds.
bool pump_one_message()
{
    std::mutex mutex;
    std::condition_variable idle;
    std::unique_lock<std::mutex> lock(mutex);
    auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
        if (pavo_checkmessage() == 1)
            return true;
        idle.wait_for(lock, 1ms);
    }
    return false;
}

// Runs the request and pumps its one message; true when exactly one callback
// ran.
::testing::AssertionResult run_to_one_delivery(const AsyncRequest& request)
{
    start_async(request);
    if (!pump_one_message())
        return ::testing::AssertionFailure() << "no message within ten seconds";
    if (g_deliveries.size() != 1)
        return ::testing::AssertionFailure() << g_deliveries.size() << " deliveries";
    return ::testing::AssertionSuccess();
}

std::string login_answer(int code)
{
    return "<Root><Result ResultCode=\"" + std::to_string(code) +
           "\" ResultMsg=\"m\"/><Response>"
           "<ServerAuthenticator>SA</ServerAuthenticator><UserToken>TOKEN-9</UserToken>"
           "<UserID>u1001</UserID><UserGroup>family</UserGroup><UserLevel>3</UserLevel>"
           "<ValidPoints>5</ValidPoints><ActExpiredDate>2027-01-01</ActExpiredDate>"
           "<AAASrvAddress>http://aaa</AAASrvAddress><AAASrvAddress2>http://aaa2</AAASrvAddress2>"
           "<EpgSrvAddress>http://epg</EpgSrvAddress><EpgSrvAddress2>http://epg2</EpgSrvAddress2>"
           "<PlaySrvAddress>http://play</PlaySrvAddress>"
           "<PlaySrvAddress2>http://play2</PlaySrvAddress2>"
           "<UpgradeSrvAddress>http://up</UpgradeSrvAddress>"
           "<UpgradeSrvAddress2>http://up2</UpgradeSrvAddress2>"
           "<IMGSrvAddress>http://img</IMGSrvAddress><ServiceAddress>http://ext</ServiceAddress>"
           "<DRMSrvAddress>http://drm</DRMSrvAddress><DRMSrvAddress2>http://drm2</DRMSrvAddress2>"
           "<SystemTime>2026-01-02 03:04:05</SystemTime></Response></Root>";
}

class PipelineAsync : public PipelineFixture {
protected:
    void SetUp() override
    {
        PipelineFixture::SetUp();
        g_deliveries.clear();
        g_caller_returned.reset();
        g_pumping_thread = pthread_self();
        pavo_setfuncmode(FUNCMODE_ASYNC);
    }
};

TEST_F(PipelineAsync, WorkerTransfersAndCallbackOfJobTypeReceivesEvent)
{
    record_in_slot<PAVO_CALLBACK_EPG>();
    AsyncRequest request{PAVO_CALLBACK_EPG, EPAVO_QUERYCATEGORYLIST, url("/Service/QueryCategory")};
    request.eventscope = EPAVO_SCOPE_BROADCAST;
    ASSERT_TRUE(run_to_one_delivery(request));

    const Delivery& delivery = g_deliveries[0];
    EXPECT_EQ(delivery.slot, PAVO_CALLBACK_EPG);
    EXPECT_TRUE(delivery.on_pumping_thread);
    EXPECT_FALSE(delivery.caller_returned) << "the caller is still in its pause";
    EXPECT_EQ(delivery.event.eventtype, EPAVO_QUERYCATEGORYLIST);
    EXPECT_EQ(delivery.event.eventscope, EPAVO_SCOPE_RESPONSE) << "whatever scope was posted";
    EXPECT_EQ(delivery.event.eventid, 4242);
    EXPECT_EQ(delivery.event.datasize, 4u);
    EXPECT_EQ(delivery.event.eventhandle, 0u);
    EXPECT_EQ(delivery.event.eventdatatype, EPAVO_EVENTDATATYPE_NORMAL);
    EXPECT_TRUE(delivery.extra_blank);
    ASSERT_TRUE(delivery.has_result);
    EXPECT_EQ(delivery.result.datatype, DATATYPE_CATEGORYLIST);
    EXPECT_EQ(delivery.result.httpecode, PAVO_HTTPE_OK);
    EXPECT_EQ(delivery.result.httpretcode, 200);

    auto requests = sim_->requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].body, request.body);
    EXPECT_EQ(pavo_getresult(), nullptr) << "a delivered result is never stored";
    std::string log = log_text();
    EXPECT_NE(log.find("pavo_globalmessagecallback: param:" + request.body + "\r\n"),
              std::string::npos);
    EXPECT_NE(log.find("pavo_globalmessagecallback response:\r\n<"), std::string::npos);
}

// An empty slot falls back to slot 0; with that empty too, the answer is
// logged and dropped.
TEST_F(PipelineAsync, EmptySlotFallsBackToDefaultSlotThenToTheLog)
{
    record_in_slot<PAVO_CALLBACK_DEFAULT>();
    const std::string target = url("/Service/QueryCategory");
    ASSERT_TRUE(run_to_one_delivery({PAVO_CALLBACK_DOWNLOAD, EPAVO_QUERYCATEGORYLIST, target}));
    EXPECT_EQ(g_deliveries[0].slot, PAVO_CALLBACK_DEFAULT);

    g_deliveries.clear();
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, nullptr);
    sim_->set_answer("/Service/QueryCategory", "<Root>dropped</Root>");
    start_async({PAVO_CALLBACK_EPG, EPAVO_QUERYCATEGORYLIST, target});
    ASSERT_TRUE(pump_one_message());
    EXPECT_TRUE(g_deliveries.empty());
    EXPECT_NE(log_text().find("pavo_globalmessagecallback response:\r\n<Root>dropped</Root>\r\n"),
              std::string::npos);
}

// A rejected login changes nothing; an accepted one sets the state and the
// session before its callback runs.
TEST_F(PipelineAsync, LoginAnswerSetsStateAndSessionBeforeCallback)
{
    record_in_slot<PAVO_CALLBACK_AAA>();
    sim_->set_answer("/Service/Login", login_answer(-102));
    ASSERT_TRUE(run_to_one_delivery({PAVO_CALLBACK_AAA, EPAVO_LOGIN, url("/Service/Login")}));
    EXPECT_EQ(g_deliveries[0].result.resultcode, -102);
    EXPECT_EQ(g_deliveries[0].state, PAVO_STATE_INITED);
    EXPECT_EQ(g_deliveries[0].usertoken, "");

    g_deliveries.clear();
    sim_->set_answer("/Service/Login", login_answer(0));
    ASSERT_TRUE(run_to_one_delivery({PAVO_CALLBACK_AAA, EPAVO_LOGIN, url("/Service/Login")}));
    EXPECT_EQ(g_deliveries[0].state, PAVO_STATE_LOGINED);
    EXPECT_EQ(g_deliveries[0].usertoken, "TOKEN-9");
    EXPECT_EQ(g_deliveries[0].drmsrvaddress2, "http://drm2");
    EXPECT_EQ(g_deliveries[0].result.datatype, DATATYPE_LOGINRESULT);

    const struct {
        const char* name;
        const char* value;
    } session[] = {
        {"usergroup", "family"},          {"aaasrvaddress", "http://aaa"},
        {"aaasrvaddress2", "http://aaa2"}, {"serverauthenticator", "SA"},
        {"userlevel", "3"},               {"actexpireddate", "2027-01-01"},
        {"epgsrvaddress", "http://epg"},  {"epgsrvaddress2", "http://epg2"},
        {"playsrvaddress", "http://play"}, {"playsrvaddress2", "http://play2"},
        {"upgradesrvaddress", "http://up"}, {"upgradesrvaddress2", "http://up2"},
        {"imgsrvaddress", "http://img"},  {"serviceaddress", "http://ext"},
        {"drmsrvaddress", "http://drm"},
    };
    for (const auto& value : session)
        EXPECT_EQ(read_prop(value.name), value.value) << value.name;
    EXPECT_EQ(read_prop("userid"), "") << "login does not write the user id";
}

// The account addresses reach korix.conf through the prefix-matching writer:
// "aaasrvaddress2" lands on the "aaasrvaddress" line written just before it.
TEST_F(PipelineAsync, OpenAnswerSetsStateAndWritesKorixConf)
{
    record_in_slot<PAVO_CALLBACK_AAA>();
    sim_->set_answer("/Open",
                     "<Root><Result ResultCode=\"0\" ResultMsg=\"\"/><Response>"
                     "<ServerAuthenticator>SA</ServerAuthenticator><UserID>u1002</UserID>"
                     "<NickName>n</NickName><AccountDesc>d</AccountDesc>"
                     "<AAASrvAddress>http://a1</AAASrvAddress>"
                     "<AAASrvAddress2>http://a2</AAASrvAddress2></Response></Root>");
    ASSERT_TRUE(run_to_one_delivery({PAVO_CALLBACK_AAA, EPAVO_OPEN, url("/Open")}));
    EXPECT_EQ(g_deliveries[0].state, PAVO_STATE_OPENED);
    EXPECT_EQ(config_text(), "[system]\naaasrvaddress=http://a2\nuserid=u1002\nlogmode=3\n"
                             "logdirectory=" + dir_.path() + "\n");
    EXPECT_EQ(read_prop("userid"), "u1002");
    EXPECT_EQ(read_prop("aaasrvaddress"), "http://a1");
    EXPECT_EQ(read_prop("aaasrvaddress2"), "http://a2");
}

TEST_F(PipelineAsync, FailedTransferReachesCallbackWithItsCodes)
{
    record_in_slot<PAVO_CALLBACK_EPG>();
    std::string target =
        "http://127.0.0.1:" + std::to_string(refused_port()) + "/Service/QueryCategory";
    ASSERT_TRUE(run_to_one_delivery({PAVO_CALLBACK_EPG, EPAVO_QUERYCATEGORYLIST, target}));
    ASSERT_TRUE(g_deliveries[0].has_result);
    EXPECT_EQ(g_deliveries[0].result.httpecode, PAVO_HTTPE_COULDNT_CONNECT);
    EXPECT_EQ(g_deliveries[0].result.httpretcode, 200);
}

}  // namespace
