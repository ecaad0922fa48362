// The item list answer (item list, item detail, related items): items
// matched to copies of their programmes and channels, messages, dump.
#include <string>

#include "parse_test_util.h"

namespace {

using namespace parse_test;

// Items: p2, ch1, p2 again, an unmatched code, type 3, no code.
const char kItemAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
    "<Programee TotalCount=\"9\" Count=\"1\" PageIndex=\"1\" PageSize=\"6\">"
    "<Item Type=\"1\" Code=\"p2\" Flag=\"5\"/><Item Type=\"2\" Code=\"ch1\"/>"
    "<Item Type=\"1\" Code=\"p2\" Name=\"again\"/><Item Type=\"1\" Code=\"nomatch\"/>"
    "<Item Type=\"3\" Code=\"s1\"/><Item Type=\"1\" Name=\"codeless\"/>"
    "</Programee><Programs>"
    "<Program Code=\"p1\" Name=\"first\"><VideoClips><VideoClip VideoCode=\"v1\"/></VideoClips>"
    "</Program>"
    "<Program Code=\"p2\" Name=\"second\" Type=\"1\" EpisodeNum=\"12\" Status=\"3\"><VideoClips>"
    "<VideoClip Type=\"1\" VideoCode=\"v21\" FileSize=\"4294967297\" AudioType=\"2\""
    " CanDownload=\"257\" BitRateType=\"4\"/>"
    "<VideoClip VideoCode=\"v22\"/></VideoClips></Program></Programs>"
    "<Channels><Channel Code=\"ch1\" Type=\"2\" TimeShiftDuration=\"3600\"><VideoClips>"
    "<VideoClip VideoCode=\"live\"/></VideoClips></Channel></Channels></Root>";

const tpavo_item* item_at(const Result& result, int index)
{
    const tpavo_item* item = result->data.itemlistresponse;
    for (int i = 0; i < index && item != nullptr; ++i)
        item = item->next;
    return item;
}

TEST_F(ParseTest, ItemsAreReadInOrderAndCounted)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    EXPECT_EQ(page_counts(result), "total=9 count=6 page=1 size=6");
    ASSERT_NE(item_at(result, 5), nullptr);
    EXPECT_EQ(item_at(result, 0)->flag, 5);
    EXPECT_STREQ(item_at(result, 2)->name, "again");
    EXPECT_STREQ(item_at(result, 5)->name, "codeless");
}

// The text fields of programmes and channels show in the dump test below.
TEST_F(ParseTest, ItemsGetCopiesOfTheirProgrammeOrChannelWithClips)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    const tpavo_program* program = item_at(result, 0)->detail.program;
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(program->episodenum, 12);
    EXPECT_EQ(program->status, 3);
    EXPECT_EQ(program->next, nullptr);  // the other programme is not carried along
    const tpavo_videoclip* clip = program->pvideoclip;
    ASSERT_NE(clip, nullptr);
    EXPECT_STREQ(clip->videocode, "v21");
    // The copy drops the bit-rate type.
    EXPECT_EQ(clip_numbers(*clip),
              "itemtype=0 type=1 episodeindex=0 ordercode=0 price=0 filesize=4294967297"
              " audiofieldtype=2 captioning=0 isdrm=0 candownload=1 canonlineplay=0"
              " screenformat=0 bitratetype=0 videotype=0 audiotype=2 resolution=0");
    ASSERT_NE(clip->next, nullptr);
    EXPECT_STREQ(clip->next->videocode, "v22");

    const tpavo_channel* channel = item_at(result, 1)->detail.channel;
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->timeshiftduration, 3600);
    EXPECT_STREQ(channel->pvideoclip->videocode, "live");
}

// An unmatched code is silent; another type and a missing code are logged.
TEST_F(ParseTest, UnmatchedUnknownAndCodelessItemsKeepNullDetail)
{
    Result result;
    std::string out = captured_stdout([&] { result = parse(kItemAnswer, DATATYPE_ITEMLIST); });
    EXPECT_EQ(item_at(result, 3)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result, 4)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result, 5)->detail.ptr, nullptr);
    EXPECT_EQ(out, info_lines({"unknow item type:3",
                               "item code is null,invalid,please contact platform support"}));

    // Without a Type the item is of unknown type 0; without sections nothing matches.
    out = captured_stdout([&] {
        result = parse(
            "<Root><Result ResultCode=\"0\"/><Programee><Item Code=\"x\"/>"
            "<Item Type=\"1\" Code=\"p1\"/><Item Type=\"2\" Code=\"c1\"/></Programee></Root>",
            DATATYPE_ITEMLIST);
    });
    EXPECT_EQ(item_at(result, 1)->detail.ptr, nullptr);
    EXPECT_EQ(out, info_lines({"unknow item type:0"}));
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
    EXPECT_EQ(
        dump_of(result),
        info_lines({begin, "code:p", "parentcode:cat", "name:N", "starttime:s", "endtime:e",
                    "desc:d", "icon1:i1", "icon2:i2", "summary:sum",
                    "***************program**********************", "code:p", "name:PN",
                    "actor:a", "director:dr", "region:r", "language:l", "programtype:pt",
                    "keywords:k", "ratinglevel:rl", "desc:pd", "smallimage1:s1",
                    "smallimage2:s2", "bigimage1:b1", "bigimage2:b2",
                    "**************videoclip********************", "itemcode:", "itemtype:0",
                    "videocode:v", "duration:9", end,
                    begin, "code:c", "parentcode:", "name:", "starttime:", "endtime:", "desc:",
                    "icon1:", "icon2:", "summary:",
                    "********************channel****************", "code:c", "name:one",
                    "desc:cd", "icon1:ci1", "icon2:ci2", "bkimage1:bk1", "bkimage2:bk2", end}));
}

}  // namespace
