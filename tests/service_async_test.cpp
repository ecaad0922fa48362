// Tests of asynchronous delivery of service answers: each request runs on a detached thread
// (which the 100-second pause then holds, and which the test never joins) while the test's
// own thread pumps pavo_checkmessage within a short bound and the callback copies the event:
// the slot of its type or slot 0, the parse by event type, the state set before it.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "service_fixture.h"

namespace pavo_test {
namespace {

// What a callback copied out of one event: the result is freed when the callback returns.
struct SeenEvent {
    int slot = -1;
    int eventtype = -1;
    int eventid = -1;
    int datatype = -1;                    // -1: no result
    tpavo_state state = PAVO_STATE_NONE;  // when the callback ran
    std::string text;                     // the code of a relative item list
};

// Callbacks run on the thread that pumps, the test's own: no lock needed.
std::vector<SeenEvent> g_seen;

// The resource download of the table below: set before the requests start.
std::string g_download_url;
std::string g_download_target;

template <pavo_callbacktype Slot>
int copy_event(tpavo_event* event)
{
    SeenEvent seen;
    seen.slot = Slot;
    seen.eventtype = event->eventtype;
    seen.eventid = event->eventid;
    seen.state = pavo_getstate();
    const tpavo_result* result = static_cast<const tpavo_result*>(event->data);
    if (result != nullptr && result->resultcode == 0) {
        seen.datatype = result->datatype;
        if (result->datatype == DATATYPE_RELATIVEITEMLIST && result->data.itemlistresponse &&
            result->data.itemlistresponse->code)
            seen.text = result->data.itemlistresponse->code;
    }
    g_seen.push_back(seen);
    return 0;
}

class ServiceAsync : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        g_seen.clear();
        open_and_login();
        ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_AAA, copy_event<PAVO_CALLBACK_AAA>), 0);
        ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_EPG, copy_event<PAVO_CALLBACK_EPG>), 0);
        ASSERT_EQ(
            pavo_registercallback(PAVO_CALLBACK_TMMANAGE, copy_event<PAVO_CALLBACK_TMMANAGE>), 0);
        pavo_setfuncmode(FUNCMODE_ASYNC);
    }

    // Pumps messages until an event with this id has been seen, or (-1) until one message
    // was taken; bounded.
    static const SeenEvent* wait_for_event(int eventid)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            int taken = pavo_checkmessage();
            if (taken == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            for (const SeenEvent& seen : g_seen)
                if (seen.eventid == eventid)
                    return &seen;
            if (taken == 1 && eventid < 0)
                return nullptr;
        }
        ADD_FAILURE() << "no event " << eventid;
        return nullptr;
    }
};

struct AsyncCase {
    const char* name;
    void (*call)(unsigned eventid);
    pavo_callbacktype slot;
    tpavo_eventtype eventtype;
    int datatype;  // as the parser tags it; -1: delivered without a result
    tpavo_state state = PAVO_STATE_LOGINED;  // set before the callback runs
};

// One request of each kind of answer per slot (the parse of every answer is driven
// synchronously elsewhere). Logout, open and login come last: the platform forgets the token
// at logout, an accepted open drops the state to opened, and the login after it sets it
// again, each before its callback runs. The logout and upgrade-resource parsers tag their
// results as recharge and upgrade-system answers.
const AsyncCase kAsyncCases[] = {
    {"categorylist", [](unsigned id) { pavo_querycategorylist(id, "C01", 1, 5); },
     PAVO_CALLBACK_EPG, EPAVO_QUERYCATEGORYLIST, DATATYPE_CATEGORYLIST},
    {"relateitemlist", [](unsigned id) { pavo_queryrelateitemlist(id, 1, "P1001", 0, 0, 1, 10); },
     PAVO_CALLBACK_EPG, EPAVO_QUERYRELATEITEMLIST, DATATYPE_RELATIVEITEMLIST},
    {"playurl",
     [](unsigned id) {
         pavo_queryplayurl(id, "C03", PAVO_ITEMTYPE_CHANNEL, "CH01", "CH01-LIVE",
                           SERVICETYPE_ONLINEPLAY, "", "");
     },
     PAVO_CALLBACK_AAA, EPAVO_QUERYPLAYURL, DATATYPE_QUERYPLAYURLRESULT},
    {"upgraderes", [](unsigned id) { pavo_upgraderes(id); }, PAVO_CALLBACK_TMMANAGE,
     EPAVO_UPGRADERES, DATATYPE_UPGRADEOSRESULT},
    {"statusreport", [](unsigned id) { pavo_statusreport(id); }, PAVO_CALLBACK_TMMANAGE,
     EPAVO_STATUSREPORT, -1},
    {"downloadresource",
     [](unsigned id) {
         pavo_downloadresource(id, g_download_url.c_str(), g_download_target.c_str());
     },
     PAVO_CALLBACK_EPG, EPAVO_RESOURCEDOWNLOAD, -1},
    {"logout", [](unsigned id) { pavo_logout(id); }, PAVO_CALLBACK_AAA, EPAVO_LOGOUT,
     DATATYPE_RECHARGERESULT},
    {"open", [](unsigned id) { pavo_open(id, OPENMODE_STBCODE, kSimTvid, nullptr); },
     PAVO_CALLBACK_AAA, EPAVO_OPEN, DATATYPE_OPENRESULT, PAVO_STATE_OPENED},
    {"login", [](unsigned id) { pavo_login(id); }, PAVO_CALLBACK_AAA, EPAVO_LOGIN,
     DATATYPE_LOGINRESULT},
};

TEST_F(ServiceAsync, EachRequestReachesTheCallbackOfItsTypeParsedByItsEventType)
{
    g_download_url = sim_->base_url() + "/files/pavo-os-2.1.0.img";
    g_download_target = workdir_->file("os.img");
    // Synchronously the related items come as an item list (9), through a callback as a
    // relative item list (11): kept on purpose.
    pavo_setfuncmode(FUNCMODE_SYNC);
    ASSERT_EQ(pavo_queryrelateitemlist(1, 1, "P1001", 0, 0, 1, 10), PAVO_STATUS_SUCCESS);
    tpavo_result* related = successful_result(DATATYPE_ITEMLIST);
    ASSERT_TRUE(related != nullptr && related->data.itemlistresponse != nullptr);
    const std::string related_code = related->data.itemlistresponse->code;
    pavo_setfuncmode(FUNCMODE_ASYNC);

    unsigned eventid = 100;
    for (const AsyncCase& c : kAsyncCases) {
        SCOPED_TRACE(c.name);
        const unsigned id = ++eventid;
        // Never joined: the call returns only after the 100-second pause.
        std::thread([&c, id] { c.call(id); }).detach();
        const SeenEvent* seen = wait_for_event(static_cast<int>(id));
        ASSERT_NE(seen, nullptr);
        EXPECT_EQ(seen->slot, c.slot);
        EXPECT_EQ(seen->eventtype, c.eventtype);
        EXPECT_EQ(seen->datatype, c.datatype);
        EXPECT_EQ(seen->state, c.state);
        if (c.datatype == DATATYPE_RELATIVEITEMLIST) {
            EXPECT_EQ(seen->text, related_code);
        }
    }
    EXPECT_EQ(read_file(g_download_target),
              read_file(std::string(PAVO_SIM_DATA) + "/files/pavo-os-2.1.0.img"));
    EXPECT_EQ(property("usertoken").size(), 32u);
    char conf[PAVO_PROP_SIZE];  // the asynchronous open stored the account too
    EXPECT_STREQ(pavo_readconfig("system", "userid", conf, sizeof conf), kSimUserId);
}

// An empty slot falls back to slot 0; with that empty too, the answer is logged and dropped.
TEST_F(ServiceAsync, EmptySlotFallsBackToDefaultSlotThenToNobody)
{
    tpavo_result* stored = pavo_getresult();
    pavo_registercallback(PAVO_CALLBACK_EPG, nullptr);
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, copy_event<PAVO_CALLBACK_DEFAULT>);
    std::thread([] { pavo_querycategorylist(7, "C01", 1, 5); }).detach();
    const SeenEvent* seen = wait_for_event(7);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->slot, PAVO_CALLBACK_DEFAULT);
    pavo_registercallback(PAVO_CALLBACK_DEFAULT, nullptr);
    g_seen.clear();
    std::thread([] { pavo_querycategorylist(8, "C01", 1, 5); }).detach();
    EXPECT_EQ(wait_for_event(-1), nullptr);
    EXPECT_TRUE(g_seen.empty());
    EXPECT_EQ(pavo_getresult(), stored) << "a delivered result is never stored";
}

}  // namespace
}  // namespace pavo_test
