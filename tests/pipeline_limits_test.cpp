// Limits that keep the library alive in the field: a full queue tells every dropped
// request's callback and goes on working, the record cap stops a parse whose copies
// multiply, and hundreds of requests and threads that come and go leave no descriptor
// behind.
#include <dirent.h>
#include <string.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "field_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

std::map<int, int> g_events;  // eventid -> 1 answered, 0 told unanswered (-1 after a repeat)
int g_unanswered_told_why = 0;
bool g_error_results = false;

// Told unanswered: null data and size 0, or with the error results a failed-transfer result
// that names the full queue.
int record_event(tpavo_event* event)
{
    const auto* result = static_cast<const tpavo_result*>(event->data);
    const bool answered = result != nullptr && result->resultcode != PAVO_RESULT_TRANSFERFAILED;
    g_unanswered_told_why +=
        !answered && (result == nullptr ? event->datasize == 0 && !g_error_results
                                        : strstr(result->resultmsg, "queue was full") != nullptr);
    g_events[event->eventid] = g_events.count(event->eventid) ? -1 : answered;
    return 0;
}

int open_descriptors()
{
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (dirent* entry = readdir(dir))
        count += entry->d_name[0] != '.';
    closedir(dir);
    return count;
}

using PipelineLimits = FieldTest;

TEST_F(PipelineLimits, BurstOverAFullQueueEndsEveryRequestInOneEvent)
{
    constexpr int kRequests = 125;  // the queue holds 100
    const std::string target = url("/Service/Report");
    auto request = [target](int id) {
        std::thread([target, id] {
            pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, id, EPAVO_QUERYCATEGORYLIST, 0,
                            target.c_str(), "x", 1, nullptr, nullptr, nullptr, nullptr);
        }).detach();
    };
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(60);
    for (const char* errorresults : {"0", "1"}) {
        SCOPED_TRACE(errorresults);
        start({{"errorresults", errorresults}});
        g_events.clear();
        g_unanswered_told_why = 0;
        g_error_results = errorresults[0] == '1';
        pavo_registercallback(PAVO_CALLBACK_DEFAULT, record_event);
        pavo_setfuncmode(FUNCMODE_ASYNC);
        for (int id = 0; id < kRequests; ++id)
            request(id);
        // The pump starts once the queue has overflowed, then runs with the workers.
        while (count_of(log_text(), "messgage Queue exceed limit:100\r\n") < 1 &&
               Clock::now() < deadline)
            std::this_thread::yield();
        while (g_events.size() < kRequests + 0u && Clock::now() < deadline)
            if (pavo_checkmessage() == 0)
                std::this_thread::yield();
        ASSERT_EQ(g_events.size(), kRequests + 0u);
        int unanswered = 0;
        for (const auto& [id, answered] : g_events) {
            EXPECT_NE(answered, -1) << "request " << id << " had two events";
            unanswered += answered == 0;
        }
        EXPECT_EQ(unanswered,
                  static_cast<int>(count_of(log_text(), "messgage Queue exceed limit")));
        EXPECT_GE(unanswered, 1);
        EXPECT_EQ(g_unanswered_told_why, unanswered);
    }
    request(kRequests);  // still usable
    while (g_events.size() <= kRequests + 0u && Clock::now() < deadline)
        pavo_checkmessage();
    EXPECT_EQ(g_events[kRequests], 1);
}

// Three items of one programme with four clips: 3 items + 1 programme + 4 clips, and each
// item's copy of the programme with its clips (3 x 5): 23 records.
TEST_F(PipelineLimits, RecordCapCountsDeepCopiesAndZeroLiftsIt)
{
    std::string doc = "<Root><Result ResultCode=\"0\" ResultMsg=\"\"/><Programee>";
    for (int i = 0; i < 3; ++i)
        doc += "<Item Type=\"1\" Code=\"P1\"/>";
    doc += "</Programee><Programs><Program Code=\"P1\"><VideoClips>";
    for (int i = 0; i < 4; ++i)
        doc += "<VideoClip Code=\"c\"/>";
    doc += "</VideoClips></Program></Programs></Root>";
    const std::pair<const char*, int> rows[] = {{nullptr, 0}, {"22", -9000}, {"23", 0}, {"0", 0}};
    for (const auto& [cap, code] : rows) {
        SCOPED_TRACE(cap != nullptr ? cap : "default");
        if (cap != nullptr)
            pavo_writeprop("maxrecords", cap);
        tpavo_result* result = pavo_parse(doc.c_str(), doc.size(), DATATYPE_ITEMLIST);
        EXPECT_EQ(result->resultcode, code);
        EXPECT_EQ(result->data.ptr == nullptr, code != 0);
        pavo_iner_freeresultitem(result);
    }
    EXPECT_EQ(count_of(log_text(), "answer exceeds maxrecords:22, not parsed\r\n"), 1u);
}

TEST_F(PipelineLimits, HundredsOfRequestsAndPassingThreadsLeaveNoDescriptorBehind)
{
    auto run = [this](int count) {
        for (int i = 0; i < count; ++i) {
            void* answer = nullptr;
            ASSERT_EQ(pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, i, EPAVO_LOGOUT, 0,
                                      url("/Service/Report").c_str(), "x", 1, &answer, nullptr,
                                      nullptr, nullptr),
                      0);
            pavo_free(answer);
        }
    };
    run(20);  // warm-up: libcurl's first use
    const int before = open_descriptors();
    run(300);
    // A thread that ends takes its transfer engine (and its wake-up pair) with it.
    for (int t = 0; t < 20; ++t)
        std::thread([&] { run(2); }).join();
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
