// Tests of asynchronous delivery of service answers: each request runs on a detached thread
// (which the 100-second pause then holds, and which the test never joins) while the test's
// own thread pumps pavo_checkmessage within a short bound and the callback copies the event.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "service_fixture.h"
#include "support/temp_dir.h"

namespace pavo_test {
namespace {

// What a callback copied out of one event: the result is freed when the callback returns.
struct SeenEvent {
    int eventtype = -1;
    int eventscope = -1;
    int eventid = -1;
    bool has_result = false;
    int datatype = -1;
    int resultcode = 0;
    long httpretcode = 0;
    std::string text;  // one field of the answer, per request
};

// Callbacks run on the thread that pumps, the test's own: no lock needed.
std::vector<SeenEvent> g_seen;

int copy_event(tpavo_event* event)
{
    SeenEvent seen;
    seen.eventtype = event->eventtype;
    seen.eventscope = event->eventscope;
    seen.eventid = event->eventid;
    const tpavo_result* result = static_cast<const tpavo_result*>(event->data);
    if (result != nullptr) {
        seen.has_result = true;
        seen.datatype = result->datatype;
        seen.resultcode = result->resultcode;
        seen.httpretcode = result->httpretcode;
        if (result->datatype == DATATYPE_UPGRADEOSRESULT && result->data.upgradeosresponse &&
            result->data.upgradeosresponse->lastedversion)
            seen.text = result->data.upgradeosresponse->lastedversion;
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
        for (pavo_callbacktype type : {PAVO_CALLBACK_AAA, PAVO_CALLBACK_EPG, PAVO_CALLBACK_TMMANAGE})
            ASSERT_EQ(pavo_registercallback(type, copy_event), PAVO_STATUS_SUCCESS);
        pavo_setfuncmode(FUNCMODE_ASYNC);
    }

    // Starts the request on a thread of its own, never joined: the call returns only after
    // the 100-second pause, long after the test is over.
    template <typename Request>
    static void start_request(Request request)
    {
        std::thread(request).detach();
    }

    // Pumps messages until an event with this id has been seen; bounded.
    static const SeenEvent* wait_for_event(int eventid)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            if (pavo_checkmessage() == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            for (const SeenEvent& seen : g_seen)
                if (seen.eventid == eventid)
                    return &seen;
        }
        return nullptr;
    }
};

TEST_F(ServiceAsync, UpgradeAnswerReachesTheManagementCallback)
{
    start_request([] { pavo_upgradeos(77); });
    const SeenEvent* seen = wait_for_event(77);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->eventtype, EPAVO_UPGRADEOS);
    EXPECT_EQ(seen->eventscope, EPAVO_SCOPE_RESPONSE);
    ASSERT_TRUE(seen->has_result);
    EXPECT_EQ(seen->datatype, DATATYPE_UPGRADEOSRESULT);
    EXPECT_EQ(seen->resultcode, 0);
    EXPECT_EQ(seen->httpretcode, 200);
    EXPECT_EQ(seen->text, "2.1.0");
    EXPECT_EQ(only_request().path, "/Service/UpgradeOS");
}

TEST_F(ServiceAsync, DownloadEventCarriesNoResultAndTheFileIsWritten)
{
    const std::string target = workdir_->path() + "/os.img";
    const std::string url = sim_->base_url() + "/files/pavo-os-2.1.0.img";
    start_request([url, target] { pavo_downloadresource(78, url.c_str(), target.c_str()); });
    const SeenEvent* seen = wait_for_event(78);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->eventtype, EPAVO_RESOURCEDOWNLOAD);
    EXPECT_FALSE(seen->has_result);
    EXPECT_EQ(read_file(target),
              read_file(std::string(PAVO_SIM_DATA) + "/files/pavo-os-2.1.0.img"));
}

// Synchronously the related items come as an item list (9), through a callback as a
// relative item list (11): kept on purpose.
TEST_F(ServiceAsync, RelatedItemsAreDatatypeNineSyncAndElevenThroughACallback)
{
    pavo_setfuncmode(FUNCMODE_SYNC);
    ASSERT_EQ(pavo_queryrelateitemlist(1, 1, "P1001", 0, 0, 1, 10), PAVO_STATUS_SUCCESS);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->datatype, DATATYPE_ITEMLIST);
    ASSERT_NE(result->data.itemlistresponse, nullptr);
    const std::string first_code = result->data.itemlistresponse->code;

    pavo_setfuncmode(FUNCMODE_ASYNC);
    start_request([] { pavo_queryrelateitemlist(79, 1, "P1001", 0, 0, 1, 10); });
    const SeenEvent* seen = wait_for_event(79);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->eventtype, EPAVO_QUERYRELATEITEMLIST);
    ASSERT_TRUE(seen->has_result);
    EXPECT_EQ(seen->datatype, DATATYPE_RELATIVEITEMLIST);
    EXPECT_EQ(seen->text, first_code);
}

TEST_F(ServiceAsync, StatusReportEventCarriesNoResult)
{
    start_request([] { pavo_statusreport(80); });
    const SeenEvent* seen = wait_for_event(80);
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->eventtype, EPAVO_STATUSREPORT);
    EXPECT_FALSE(seen->has_result);
}

}  // namespace
}  // namespace pavo_test
