// The answer parsers: the entry and the frame every answer shares (dispatch,
// result code and message, forward-only fields, _atoi64), each answer kind as
// its dump shows it, lists with their counts, clips, and items matched to
// copies of their programmes and channels.
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "parse_test_util.h"

namespace {

using namespace parse_test;

// The list counters of a result on one line.
std::string page_counts(const Result& result)
{
    return "total=" + std::to_string(result->totalcount) +
           " count=" + std::to_string(result->datacount) +
           " page=" + std::to_string(result->pageindex) +
           " size=" + std::to_string(result->pagesize);
}

// Every non-text field of a clip in record order.
std::string clip_numbers(const tpavo_videoclip& c)
{
    std::ostringstream text;
    text << c.itemtype << " " << c.type << " " << c.episodeindex << " " << c.ordercode << " "
         << c.price << " " << c.filesize << " " << c.audiofieldtype << " " << c.captioning << " "
         << int(c.isdrm) << " " << int(c.candownload) << " " << int(c.canonlineplay) << " "
         << c.screenformat << " " << c.bitratetype << " " << c.videotype << " " << c.audiotype
         << " " << c.resolution;
    return text.str();
}

const char kOpenAnswer[] =
    "<Root><Result ResultCode=\"3\" ResultMsg=\"fine &amp; dandy\"/>"
    "<Response><ServerAuthenticator>sa</ServerAuthenticator><UserID>u1</UserID>"
    "<NickName>nick</NickName><AccountDesc>desc</AccountDesc>"
    "<AAASrvAddress>http://a</AAASrvAddress><AAASrvAddress2>http://b</AAASrvAddress2>"
    "</Response></Root>";

// Every data type: its tag (some kinds carry another's), then its dump of a
// null result and of a refusal (code -1, no data); the extended service
// copies the answer itself. Types no answer is read as give the failure result.
TEST_F(ParseTest, EachDatatypeTagsAndDumpsARefusal)
{
    const std::string refusal = "<Root><Result ResultCode=\"-1\"/></Root>";
    const std::string head = info_lines({"result is NULL", "resultcode:-1", "resultmesg:"});
    auto missing = [&](const char* line) { return head + info_lines({line}); };
    const struct {
        int datatype, tag;
        std::string dump;
    } rows[] = {
        {2, 2, missing("openresponse is NULL")},
        {3, 3, missing("loginresponse is NULL")},
        {4, 5, missing("logoutresponse is NULL")},
        {5, 5, missing("rechargeresponse is NULL")},
        {6, 6, missing("playresponse is NULL")},
        {7, 7, head},
        {9, 9, ""},
        {10, 10, ""},
        {11, 11, ""},
        {14, 14, info_lines({"result is null", "schedulelistresponse is null"})},
        {20, 20, info_lines({refusal})},
        {21, 21, missing("upgradeosresponse is NULL")},
        {22, 21, missing("upgraderesresponse is NULL")},
    };
    for (const auto& row : rows) {
        auto result = parse(refusal, static_cast<tpavo_datatype>(row.datatype));
        auto dump_both = [&] { result->dumpproc(nullptr), result->dumpproc(result.get()); };
        EXPECT_EQ(result->datatype, row.tag) << row.datatype;
        EXPECT_EQ(captured_stdout(dump_both), row.dump) << row.datatype;
    }
    for (int unsupported : {0, 1, 8, 12, 13, 15, 16, 17, 18, 19, 23, 31})
        EXPECT_EQ(parse(refusal, static_cast<tpavo_datatype>(unsupported))->resultcode, -9000);
}

// The code and message come from the first element inside Root, whatever its
// name; the code reads like atoi, an empty message is null, a negative code
// stops before the record. A document that is not well formed reads as
// success without a record.
TEST_F(ParseTest, FrameReadsCodeAndMessageFromTheFirstElementInRoot)
{
    const struct {
        const char* document;
        const char* head;
    } rows[] = {
        {nullptr, "code=0 msg=(null) record=no"},
        {"<Root><Result ResultCode=\"-5\" ResultMsg=\"x\"/><Response>",
         "code=0 msg=(null) record=no"},
        {"<Root><Status ResultCode=\"-12\" ResultMsg=\"denied\"/><Result ResultCode=\"0\"/>"
         "<Response><UserID>u</UserID></Response></Root>",
         "code=-12 msg=denied record=no"},
        {"<Root><Result ResultCode=\" -7abc\" ResultMsg=\"\"/></Root>",
         "code=-7 msg=(null) record=no"},
        {"<Root><Response><UserID>u</UserID></Response></Root>", "code=0 msg=(null) record=yes"},
        {kOpenAnswer, "code=3 msg=fine & dandy record=yes"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.document != nullptr ? row.document : "(null)");
        auto result = Result(pavo_parse(row.document,
                                        row.document != nullptr ? std::strlen(row.document) : 0,
                                        DATATYPE_OPENRESULT));
        EXPECT_EQ(std::string("code=") + std::to_string(result->resultcode) +
                      " msg=" + (result->resultmsg != nullptr ? result->resultmsg : "(null)") +
                      " record=" + (result->data.ptr != nullptr ? "yes" : "no"),
                  row.head);
    }
}

// Fields are searched forward only: a missing one, or one standing before its
// predecessor, repeats the text of the field read before it.
TEST_F(ParseTest, MissingOrMisplacedFieldRepeatsItsPredecessor)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Response><UserID>u1</UserID>"
        "<AccountDesc> d </AccountDesc><Other>x</Other><AAASrvAddress2>b</AAASrvAddress2>"
        "</Response></Root>",
        DATATYPE_OPENRESULT);
    const tpavo_openresponse* open = result->data.openresponse;
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(open->serverauthenticator, nullptr);  // first field: nothing before it
    EXPECT_STREQ(open->userid, "u1");
    EXPECT_STREQ(open->nickname, "u1");
    EXPECT_STREQ(open->accountdesc, " d ");  // untrimmed
    EXPECT_STREQ(open->aaasrvaddress, " d ");
    EXPECT_STREQ(open->aaasrvaddress2, "b");
    EXPECT_NE(open->userid, open->nickname);  // each field owns its copy

    auto reversed = parse(
        "<Root><Result ResultCode=\"0\"/><Response><NickName>n</NickName>"
        "<UserID>u</UserID></Response></Root>",
        DATATYPE_OPENRESULT);
    ASSERT_NE(reversed->data.openresponse, nullptr);
    EXPECT_STREQ(reversed->data.openresponse->userid, "u");
    EXPECT_STREQ(reversed->data.openresponse->nickname, "u");
}

TEST(Atoi64, ReadsLikeAtoiInSixtyFourBits)
{
    const struct {
        const char* text;
        int64_t value;
    } rows[] = {
        {"\t\n -42xyz", -42},
        {"+4294967297", 4294967297},
        {"18446744073709551617", 1},  // 2^64 + 1 wraps
        {"\xb5"
         "5",
         0},  // a high byte is neither blank nor digit
    };
    for (const auto& row : rows)
        EXPECT_EQ(_atoi64(row.text), row.value) << row.text;
}

std::string answer(const std::string& code, const std::string& body)
{
    return "<Root><Result ResultCode=\"" + code + "\" ResultMsg=\"ok\"/><Response>" + body +
           "</Response></Root>";
}

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

// Every login field but "SystemTime"; the last address looks like a time on
// purpose, to show when it is read as one.
std::string login_body(const std::string& system_time_element)
{
    return element("ServerAuthenticator", "sa") + element("UserToken", "tok") +
           element("UserID", "uid") + element("UserGroup", "grp") + element("UserLevel", "lvl") +
           element("ValidPoints", "77") + element("ActExpiredDate", "2030-01-01") +
           element("AAASrvAddress", "aaa") + element("AAASrvAddress2", "aaa2") +
           element("EpgSrvAddress", "epg") + element("EpgSrvAddress2", "epg2") +
           element("PlaySrvAddress", "play") + element("PlaySrvAddress2", "play2") +
           element("UpgradeSrvAddress", "up") + element("UpgradeSrvAddress2", "up2") +
           element("IMGSrvAddress", "img") + element("ServiceAddress", "svc") +
           element("DRMSrvAddress", "drm") + element("DRMSrvAddress2", "2011-02-03 04:05:06") +
           system_time_element;
}

class AccountAnswer : public ParseTest {
protected:
    void SetUp() override
    {
        ParseTest::SetUp();
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }
};

// Each dump prints every text field of its record, so one comparison shows
// what was read into each; fields the dump leaves out are checked directly.
TEST_F(AccountAnswer, EachAnswerKindFillsItsRecordAsItsDumpShows)
{
    struct Row {
        tpavo_datatype datatype;
        std::string body;
        std::vector<std::string> lines;  // after "resultcode:0" and "resultmesg:ok"
    };
    const Row rows[] = {
        // imgsrvaddress comes before the play addresses; validpoints is not shown.
        {DATATYPE_LOGINRESULT,
         login_body(element("SystemTime", "2010-01-02 03:04:05")),
         {"serverauthenticator:sa", "usertoken:tok", "userid:uid", "usergroup:grp",
          "userlevel:lvl", "actexpireddate:2030-01-01", "aaasrvaddress:aaa",
          "aaasrvaddress2:aaa2", "epgsrvaddress:epg", "epgsrvaddress2:epg2", "imgsrvaddress:img",
          "playsrvaddress:play", "playsrvaddress2:play2", "upgradesrvaddress:up",
          "upgradesrvaddress2:up2", "serviceaddress:svc", "drmsrvaddress:drm",
          "drmsrvaddress2:2011-02-03 04:05:06"}},
        // The resource upgrade reads "UpdateMode", not "UpgradeMode".
        {DATATYPE_UPGRADERESRESULT,
         element("UpgradeMode", "9") + element("UpdateMode", "3") +
             element("LastedVersion", "r5") + element("FileURL", "u") + element("FileHash", "h"),
         {"lastedversion:r5", "fileurl:u", "filehash:h", "updatemode:3"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.datatype);
        auto result = parse(answer("0", row.body), row.datatype);
        std::string expected = info_lines({"resultcode:0", "resultmesg:ok"});
        for (const std::string& line : row.lines)
            expected += info_lines({line});
        EXPECT_EQ(dump_of(result), expected);
    }
    auto login = parse(answer("0", login_body("")), DATATYPE_LOGINRESULT);
    ASSERT_NE(login->data.loginresponse, nullptr);
    EXPECT_EQ(login->data.loginresponse->validpoints, 77);
    EXPECT_EQ(login->data.loginresponse->forcedupgrade, 0);
}

// "SystemTime" sets the server clock; without it the field search re-reads
// the last address (DRMSrvAddress2) as the time; a rejected login leaves the
// clock alone.
TEST_F(AccountAnswer, LoginAnswerSetsServerTime)
{
    struct Row {
        const char* code;
        std::string system_time_element;
        unsigned long servertime;
        bool has_record;
    };
    const Row rows[] = {
        {"0", element("SystemTime", "2010-01-02 03:04:05"), 1262401445UL, true},
        {"0", "", 1296705906UL, true},  // 2011-02-03 04:05:06 UTC
        {"-1", element("SystemTime", "2010-01-02 03:04:05"), 12345UL, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.system_time_element);
        g_servertime = 12345;
        auto result =
            parse(answer(row.code, login_body(row.system_time_element)), DATATYPE_LOGINRESULT);
        EXPECT_EQ(result->data.loginresponse != nullptr, row.has_record);
        EXPECT_EQ(g_servertime, row.servertime);
    }
}

// Counts are overwritten by the entries read; HasChild 257 keeps its low eight
// bits. The schedules lie inside the Result element, and their dump has no
// result lines and says "null" in lower case.
TEST_F(ParseTest, ListsKeepDocumentOrderCountTheirEntriesAndDump)
{
    const std::string category = "***************category*************";
    const std::string schedule = "**************schedule**************************";
    const struct {
        const char* document;
        tpavo_datatype datatype;
        const char* counts;
        std::string dump;
    } rows[] = {
        {"<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
         "<Categorys TotalCount=\"30\" Count=\"10\" PageIndex=\"2\" PageSize=\"10\">"
         "<Category Code=\"c1\" ParentCode=\"root\" Name=\"One\" Desc=\"d1\" Icon1=\"i1\""
         " Icon2=\"i2\" BKImage1=\"b1\" BKImage2=\"b2\" HasChild=\"257\" Type=\"4\""
         " TemplateCode=\"t1\"/>"
         "<Other Code=\"x\"/><Category Code=\"c3\" Type=\"-2\"/></Categorys></Root>",
         DATATYPE_CATEGORYLIST, "total=30 count=2 page=2 size=10",
         info_lines(
             {"resultcode:0", "resultmesg:ok",   category,    "code:c1",       "parentcode:root",
              "name:One",     "desc:d1",         "icon1:i1",  "icon2:i2",      "bgimage1:b1",
              "bgimage2:b2",  "templatecode:t1", "type:4",    "haschild:1",    category,
              "code:c3",      "parentcode:",     "name:",     "desc:",         "icon1:",
              "icon2:",       "bgimage1:",       "bgimage2:", "templatecode:", "type:-2",
              "haschild:0"})},
        {"<Root><Result ResultCode=\"0\" ResultMsg=\"ok\">"
         "<Schedules TotalCount=\"5\" Count=\"9\" PageIndex=\"1\" PageSize=\"20\">"
         "<Schedule Name=\"News\" ChannelCode=\"ch1\" Desc=\"d\" StartTime=\"20100101080000\""
         " EndTime=\"20100101083000\"/><Schedule Name=\"Film\"/></Schedules></Result></Root>",
         DATATYPE_SCHEDULELIST, "total=5 count=2 page=1 size=20",
         info_lines({schedule, "name:News", "channelcode:ch1", "desc:d",
                     "starttime:20100101080000", "endtime:20100101083000", schedule, "name:Film",
                     "channelcode:", "desc:", "starttime:", "endtime:"})},
    };
    for (const auto& row : rows) {
        auto result = parse(row.document, row.datatype);
        EXPECT_EQ(page_counts(result), row.counts);
        EXPECT_EQ(dump_of(result), row.dump);
    }
}

// Items: p22, ch1, p22 again, an unmatched code, type 3, no code. Codes are
// compared whole: p220 shares the first three characters; of two p22
// programmes the first counts.
const char kItemAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
    "<Programee TotalCount=\"9\" Count=\"1\" PageIndex=\"1\" PageSize=\"6\">"
    "<Item Type=\"1\" Code=\"p22\" Flag=\"5\"/><Item Type=\"2\" Code=\"ch1\"/>"
    "<Item Type=\"1\" Code=\"p22\" Name=\"again\"/><Item Type=\"1\" Code=\"nomatch\"/>"
    "<Item Type=\"3\" Code=\"s1\"/><Item Type=\"1\" Name=\"codeless\"/>"
    "</Programee><Programs>"
    "<Program Code=\"p220\" Name=\"first\"><VideoClips><VideoClip VideoCode=\"v1\"/></VideoClips>"
    "</Program>"
    "<Program Code=\"p22\" Name=\"second\" Type=\"1\" EpisodeNum=\"12\" Status=\"3\"><VideoClips>"
    "<VideoClip Type=\"1\" VideoCode=\"v21\" EpisodeIndex=\"2\" OrderCode=\"3\" Price=\"400\""
    " FileSize=\"4294967297\" Duration=\"01:30:00\" AudioType=\"5\" IsDRM=\"1\""
    " CanDownload=\"258\" CanOnlinePlay=\"1\" ScreenFormat=\"6\" Captioning=\"7\""
    " BitRateType=\"8\" VideoType=\"9\" Resolution=\"10\"/><Other/>"
    "<VideoClip VideoCode=\"v22\"/></VideoClips></Program>"
    "<Program Code=\"p22\" Name=\"later\"><VideoClips/></Program></Programs>"
    "<Channels><Channel Code=\"ch1\" Type=\"2\" TimeShiftDuration=\"3600\"><VideoClips>"
    "<VideoClip VideoCode=\"live\"/></VideoClips></Channel></Channels></Root>";

const tpavo_item* item_at(const Result& result, int index)
{
    const tpavo_item* item = result->data.itemlistresponse;
    for (int i = 0; i < index && item != nullptr; ++i)
        item = item->next;
    return item;
}

// Items are counted and matched to copies of their programme or channel with
// clips: AudioType lands in both audio fields, FileSize is 64 bits, flags keep
// their low eight bits, the copy drops the bit-rate type. An unmatched code is silent,
// another type and a missing code are logged.
TEST_F(ParseTest, ItemsGetCopiesOfTheirProgrammeOrChannelWithClips)
{
    Result result;
    std::string out = captured_stdout([&] { result = parse(kItemAnswer, DATATYPE_ITEMLIST); });
    EXPECT_EQ(page_counts(result), "total=9 count=6 page=1 size=6");
    EXPECT_EQ(item_at(result, 0)->flag, 5);
    EXPECT_STREQ(item_at(result, 2)->name, "again");
    const tpavo_program* program = item_at(result, 0)->detail.program;
    ASSERT_NE(program, nullptr);
    EXPECT_STREQ(program->name, "second");
    EXPECT_EQ(program->episodenum, 12);
    EXPECT_EQ(program->next, nullptr);  // the other programme is not carried along
    const tpavo_videoclip* clip = program->pvideoclip;
    ASSERT_NE(clip, nullptr);
    EXPECT_STREQ(clip->videocode, "v21");
    EXPECT_STREQ(clip->duration, "01:30:00");
    EXPECT_EQ(clip->itemcode, nullptr);
    EXPECT_EQ(clip_numbers(*clip), "0 1 2 3 400 4294967297 5 7 1 2 1 6 0 9 5 10");
    ASSERT_NE(clip->next, nullptr);
    EXPECT_STREQ(clip->next->videocode, "v22");
    const tpavo_channel* channel = item_at(result, 1)->detail.channel;
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->timeshiftduration, 3600);
    EXPECT_STREQ(channel->pvideoclip->videocode, "live");
    for (int i : {3, 4, 5})
        EXPECT_EQ(item_at(result, i)->detail.ptr, nullptr) << i;
    EXPECT_EQ(out, info_lines({"unknow item type:3",
                               "item code is null,invalid,please contact platform support"}));
}

TEST_F(ParseTest, ProgramWithoutChildrenEndsItsSectionAndHidesChannels)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/>"
        "<Programee><Item Type=\"1\" Code=\"p1\"/><Item Type=\"1\" Code=\"p2\"/>"
        "<Item Type=\"2\" Code=\"ch1\"/></Programee>"
        "<Programs><Program Code=\"p1\" Name=\"bare\"/>"
        "<Program Code=\"p2\"><VideoClips/></Program></Programs>"
        "<Channels><Channel Code=\"ch1\"><VideoClips/></Channel></Channels></Root>",
        DATATYPE_ITEMLIST);
    ASSERT_EQ(result->datacount, 3);
    const tpavo_program* bare = item_at(result, 0)->detail.program;
    ASSERT_NE(bare, nullptr);
    EXPECT_STREQ(bare->name, "bare");
    EXPECT_EQ(bare->pvideoclip, nullptr);
    EXPECT_EQ(item_at(result, 1)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result, 2)->detail.ptr, nullptr);
}

// Every text attribute of items, programmes and channels is distinct here, so
// the dump shows where each was read into.
TEST_F(ParseTest, ItemListDumpPrintsItemsWithTheirDetails)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Programee>"
        "<Item Type=\"1\" Code=\"p\" ParentCode=\"cat\" Name=\"N\" StartTime=\"s\" EndTime=\"e\""
        " Desc=\"d\" Icon1=\"i1\" Icon2=\"i2\" Summary=\"sum\" Flag=\"9\"/>"
        "<Item Type=\"2\" Code=\"c\"/></Programee>"
        "<Programs><Program Code=\"p\" Name=\"PN\" Actor=\"a\" Director=\"dr\" Region=\"r\""
        " Language=\"l\" ProgramType=\"pt\" Keywords=\"k\" RatingLevel=\"rl\" Desc=\"pd\""
        " SmallImage1=\"s1\" SmallImage2=\"s2\" BigImage1=\"b1\" BigImage2=\"b2\"><VideoClips>"
        "<VideoClip VideoCode=\"v\" Duration=\"9\"/></VideoClips></Program></Programs>"
        "<Channels><Channel Code=\"c\" Name=\"one\" Desc=\"cd\" Icon1=\"ci1\" Icon2=\"ci2\""
        " BKImage1=\"bk1\" BKImage2=\"bk2\"><VideoClips/></Channel></Channels></Root>",
        DATATYPE_ITEMLIST);
    const std::string begin = "*********************Begin Item**********************";
    const std::string end = "*********************End Item**********************";
    EXPECT_EQ(dump_of(result), info_lines({begin,
                                           "code:p",
                                           "parentcode:cat",
                                           "name:N",
                                           "starttime:s",
                                           "endtime:e",
                                           "desc:d",
                                           "icon1:i1",
                                           "icon2:i2",
                                           "summary:sum",
                                           "***************program**********************",
                                           "code:p",
                                           "name:PN",
                                           "actor:a",
                                           "director:dr",
                                           "region:r",
                                           "language:l",
                                           "programtype:pt",
                                           "keywords:k",
                                           "ratinglevel:rl",
                                           "desc:pd",
                                           "smallimage1:s1",
                                           "smallimage2:s2",
                                           "bigimage1:b1",
                                           "bigimage2:b2",
                                           "**************videoclip********************",
                                           "itemcode:",
                                           "itemtype:0",
                                           "videocode:v",
                                           "duration:9",
                                           end,
                                           begin,
                                           "code:c",
                                           "parentcode:",
                                           "name:",
                                           "starttime:",
                                           "endtime:",
                                           "desc:",
                                           "icon1:",
                                           "icon2:",
                                           "summary:",
                                           "********************channel****************",
                                           "code:c",
                                           "name:one",
                                           "desc:cd",
                                           "icon1:ci1",
                                           "icon2:ci2",
                                           "bkimage1:bk1",
                                           "bkimage2:bk2",
                                           end}));
}

}  // namespace
