// The item list answer (item list, item detail, related items): items
// matched to copies of their programmes and channels, messages, free, dump.
#include <string>

#include "parse_test_util.h"

namespace {

using parse_test::captured_stdout;
using parse_test::dump_text;
using parse_test::info_lines;
using parse_test::parse;
using parse_test::ParseTest;

const char kItemAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
    "<Programee TotalCount=\"9\" Count=\"1\" PageIndex=\"1\" PageSize=\"6\">"
    "<Item Type=\"1\" Code=\"p2\" ParentCode=\"cat\" Name=\"Prog two\" StartTime=\"s\""
    " EndTime=\"e\" Desc=\"d\" Icon1=\"i1\" Icon2=\"i2\" Flag=\"5\" Summary=\"sum\"/>"
    "<Item Type=\"2\" Code=\"ch1\" Name=\"Channel one\"/>"
    "<Item Type=\"1\" Code=\"p2\" Name=\"again\"/>"
    "<Item Type=\"1\" Code=\"nomatch\"/>"
    "<Item Type=\"3\" Code=\"s1\"/>"
    "<Item Type=\"1\" Name=\"codeless\"/>"
    "</Programee>"
    "<Programs>"
    "<Program Code=\"p1\" Name=\"first\"><VideoClips><VideoClip VideoCode=\"v1\"/></VideoClips>"
    "</Program>"
    "<Program Code=\"p2\" Name=\"second\" Type=\"1\" EpisodeNum=\"12\" Actor=\"a\""
    " Director=\"dr\" Region=\"r\" Language=\"l\" ProgramType=\"pt\" Keywords=\"k\""
    " RatingLevel=\"rl\" Desc=\"pd\" Status=\"3\" SmallImage1=\"s1\" SmallImage2=\"s2\""
    " BigImage1=\"b1\" BigImage2=\"b2\"><VideoClips>"
    "<VideoClip Type=\"1\" VideoCode=\"v21\" FileSize=\"4294967297\" Duration=\"01:00:00\""
    " AudioType=\"2\" CanDownload=\"257\" BitRateType=\"4\"/>"
    "<VideoClip VideoCode=\"v22\"/></VideoClips></Program>"
    "</Programs>"
    "<Channels>"
    "<Channel Code=\"ch1\" Name=\"one\" Desc=\"cd\" Icon1=\"ci1\" Icon2=\"ci2\" BKImage1=\"bk1\""
    " BKImage2=\"bk2\" Type=\"2\" TimeShiftDuration=\"3600\"><VideoClips>"
    "<VideoClip VideoCode=\"live\"/></VideoClips></Channel>"
    "</Channels></Root>";

const tpavo_item* item_at(const tpavo_result* result, int index)
{
    const tpavo_item* item = result->data.itemlistresponse;
    for (int i = 0; i < index && item != nullptr; ++i)
        item = item->next;
    return item;
}

TEST_F(ParseTest, ItemsAreReadInOrderAndCounted)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    EXPECT_EQ(result->datatype, DATATYPE_ITEMLIST);
    EXPECT_EQ(result->freeproc, free_categoryitemlistresult);
    EXPECT_EQ(result->dumpproc, dump_categoryitemlistresult);
    EXPECT_EQ(result->totalcount, 9);
    EXPECT_EQ(result->datacount, 6);
    EXPECT_EQ(result->pageindex, 1);
    EXPECT_EQ(result->pagesize, 6);
    EXPECT_EQ(result->data.itemdetailresponse, result->data.itemlistresponse);
    const tpavo_item* first = item_at(result.get(), 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->type, PAVO_ITEMTYPE_PROGRAM);
    EXPECT_STREQ(first->code, "p2");
    EXPECT_STREQ(first->parentcode, "cat");
    EXPECT_STREQ(first->name, "Prog two");
    EXPECT_STREQ(first->starttime, "s");
    EXPECT_STREQ(first->endtime, "e");
    EXPECT_STREQ(first->desc, "d");
    EXPECT_STREQ(first->icon1, "i1");
    EXPECT_STREQ(first->icon2, "i2");
    EXPECT_EQ(first->flag, 5);
    EXPECT_STREQ(first->summary, "sum");
    EXPECT_STREQ(item_at(result.get(), 5)->name, "codeless");
    EXPECT_EQ(item_at(result.get(), 5)->next, nullptr);
}

TEST_F(ParseTest, ProgramItemGetsCopyOfMatchingProgramWithClips)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    const tpavo_program* program = item_at(result.get(), 0)->detail.program;
    ASSERT_NE(program, nullptr);
    EXPECT_STREQ(program->code, "p2");
    EXPECT_STREQ(program->name, "second");
    EXPECT_EQ(program->type, 1);
    EXPECT_EQ(program->episodenum, 12);
    EXPECT_STREQ(program->actor, "a");
    EXPECT_STREQ(program->director, "dr");
    EXPECT_STREQ(program->region, "r");
    EXPECT_STREQ(program->language, "l");
    EXPECT_STREQ(program->programtype, "pt");
    EXPECT_STREQ(program->keywords, "k");
    EXPECT_STREQ(program->ratinglevel, "rl");
    EXPECT_STREQ(program->desc, "pd");
    EXPECT_EQ(program->status, 3);
    EXPECT_STREQ(program->smallimage1, "s1");
    EXPECT_STREQ(program->smallimage2, "s2");
    EXPECT_STREQ(program->bigimage1, "b1");
    EXPECT_STREQ(program->bigimage2, "b2");
    EXPECT_EQ(program->next, nullptr);  // the other programme is not carried along
    const tpavo_videoclip* clip = program->pvideoclip;
    ASSERT_NE(clip, nullptr);
    EXPECT_STREQ(clip->videocode, "v21");
    EXPECT_EQ(clip->filesize, 4294967297LL);
    EXPECT_STREQ(clip->duration, "01:00:00");
    EXPECT_EQ(clip->audiofieldtype, 2);
    EXPECT_EQ(clip->audiotype, 2);
    EXPECT_EQ(clip->candownload, 1);
    EXPECT_EQ(clip->bitratetype, 0);  // copies drop it
    ASSERT_NE(clip->next, nullptr);
    EXPECT_STREQ(clip->next->videocode, "v22");
    EXPECT_EQ(clip->next->next, nullptr);
}

TEST_F(ParseTest, ChannelItemGetsCopyOfMatchingChannel)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    const tpavo_channel* channel = item_at(result.get(), 1)->detail.channel;
    ASSERT_NE(channel, nullptr);
    EXPECT_STREQ(channel->code, "ch1");
    EXPECT_STREQ(channel->name, "one");
    EXPECT_STREQ(channel->desc, "cd");
    EXPECT_STREQ(channel->icon1, "ci1");
    EXPECT_STREQ(channel->icon2, "ci2");
    EXPECT_STREQ(channel->bkimage1, "bk1");
    EXPECT_STREQ(channel->bkimage2, "bk2");
    EXPECT_EQ(channel->type, 2);
    EXPECT_EQ(channel->timeshiftduration, 3600);
    ASSERT_NE(channel->pvideoclip, nullptr);
    EXPECT_STREQ(channel->pvideoclip->videocode, "live");
}

TEST_F(ParseTest, ItemsSharingACodeOwnSeparateCopies)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    tpavo_item* first = result->data.itemlistresponse;
    tpavo_item* third = first->next->next;
    ASSERT_NE(first->detail.program, nullptr);
    ASSERT_NE(third->detail.program, nullptr);
    EXPECT_NE(first->detail.program, third->detail.program);
    EXPECT_NE(first->detail.program->pvideoclip, third->detail.program->pvideoclip);
    free_program(first->detail.program);
    first->detail.program = nullptr;
    EXPECT_STREQ(third->detail.program->name, "second");
    EXPECT_STREQ(third->detail.program->pvideoclip->videocode, "v21");
}

TEST_F(ParseTest, UnmatchedUnknownAndCodelessItemsKeepNullDetail)
{
    std::string out;
    parse_test::Result result;
    out = captured_stdout([&] { result = parse(kItemAnswer, DATATYPE_ITEMLIST); });
    EXPECT_EQ(item_at(result.get(), 3)->detail.ptr, nullptr);  // no match: silent
    EXPECT_EQ(item_at(result.get(), 4)->type, PAVO_ITEMTYPE_SCHEDULE);
    EXPECT_EQ(item_at(result.get(), 4)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result.get(), 5)->code, nullptr);
    EXPECT_EQ(item_at(result.get(), 5)->detail.ptr, nullptr);
    EXPECT_EQ(out, info_lines({"unknow item type:3",
                               "item code is null,invalid,please contact platform support"}));
}

TEST_F(ParseTest, ItemWithoutTypeIsUnknownTypeZero)
{
    std::string out;
    parse_test::Result result;
    out = captured_stdout([&] {
        result = parse(
            "<Root><Result ResultCode=\"0\"/><Programee><Item Code=\"x\"/></Programee></Root>",
            DATATYPE_ITEMLIST);
    });
    EXPECT_EQ(result->datacount, 1);
    EXPECT_EQ(out, info_lines({"unknow item type:0"}));
}

TEST_F(ParseTest, SameAnswerUnderItemDetailAndRelatedTags)
{
    auto list = parse(kItemAnswer, DATATYPE_ITEMLIST);
    const std::string expected = dump_text(list->dumpproc, list.get());
    for (tpavo_datatype tag : {DATATYPE_ITEM, DATATYPE_RELATIVEITEMLIST}) {
        SCOPED_TRACE(tag);
        auto result = parse(kItemAnswer, tag);
        EXPECT_EQ(result->datatype, tag);
        EXPECT_EQ(result->freeproc, free_categoryitemlistresult);
        EXPECT_EQ(result->datacount, 6);
        EXPECT_EQ(dump_text(result->dumpproc, result.get()), expected);
    }
    auto direct = parse_test::Result(pavo_parsecategoryitemlistresult(kItemAnswer));
    EXPECT_EQ(direct->datatype, DATATYPE_ITEMLIST);
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
    const tpavo_program* bare = item_at(result.get(), 0)->detail.program;
    ASSERT_NE(bare, nullptr);
    EXPECT_STREQ(bare->name, "bare");
    EXPECT_EQ(bare->pvideoclip, nullptr);
    EXPECT_EQ(item_at(result.get(), 1)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result.get(), 2)->detail.ptr, nullptr);
}

TEST_F(ParseTest, MissingSectionsGiveNoDetails)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Programee><Item Type=\"1\" Code=\"p1\"/>"
        "<Item Type=\"2\" Code=\"c1\"/></Programee></Root>",
        DATATYPE_ITEMLIST);
    EXPECT_EQ(result->datacount, 2);
    EXPECT_EQ(item_at(result.get(), 0)->detail.ptr, nullptr);
    EXPECT_EQ(item_at(result.get(), 1)->detail.ptr, nullptr);
}

TEST_F(ParseTest, NegativeCodeGivesNoItems)
{
    auto result = parse(
        "<Root><Result ResultCode=\"-3\" ResultMsg=\"no\"/><Programee TotalCount=\"4\">"
        "<Item Type=\"1\" Code=\"p1\"/></Programee></Root>",
        DATATYPE_ITEM);
    EXPECT_EQ(result->resultcode, -3);
    EXPECT_STREQ(result->resultmsg, "no");
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->totalcount, 0);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()), "");
}

TEST_F(ParseTest, ItemListFreeReleasesDetailsAndClearsData)
{
    auto result = parse(kItemAnswer, DATATYPE_ITEMLIST);
    free_categoryitemlistresult(result.get());
    EXPECT_EQ(result->data.ptr, nullptr);
    free_categoryitemlistresult(result.get());
    free_categoryitemlistresult(nullptr);
}

TEST_F(ParseTest, ItemListDumpPrintsItemsWithTheirDetails)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Programee>"
        "<Item Type=\"1\" Code=\"p\" Name=\"N\" Flag=\"9\"/>"
        "<Item Type=\"2\" Code=\"c\"/>"
        "<Item Type=\"3\" Code=\"s\"/>"
        "</Programee><Programs><Program Code=\"p\" Name=\"PN\" Status=\"2\"><VideoClips>"
        "<VideoClip VideoCode=\"v\" Duration=\"9\"/></VideoClips></Program></Programs>"
        "<Channels><Channel Code=\"c\" BKImage2=\"bk\"><VideoClips/></Channel></Channels></Root>",
        DATATYPE_ITEMLIST);
    const std::string begin = "*********************Begin Item**********************";
    const std::string end = "*********************End Item**********************";
    EXPECT_EQ(
        dump_text(result->dumpproc, result.get()),
        info_lines({begin, "code:p", "parentcode:", "name:N", "starttime:", "endtime:", "desc:",
                    "icon1:", "icon2:", "summary:",
                    "***************program**********************", "code:p", "name:PN",
                    "actor:", "director:", "region:", "language:", "programtype:", "keywords:",
                    "ratinglevel:", "desc:", "smallimage1:", "smallimage2:", "bigimage1:",
                    "bigimage2:", "**************videoclip********************", "itemcode:",
                    "itemtype:0", "videocode:v", "duration:9", end,
                    begin, "code:c", "parentcode:", "name:", "starttime:", "endtime:", "desc:",
                    "icon1:", "icon2:", "summary:",
                    "********************channel****************", "code:c", "name:", "desc:",
                    "icon1:", "icon2:", "bkimage1:", "bkimage2:bk", end,
                    begin, "code:s", "parentcode:", "name:", "starttime:", "endtime:", "desc:",
                    "icon1:", "icon2:", "summary:", end}));
    EXPECT_EQ(dump_text(dump_categoryitemlistresult, nullptr), "");
}

}  // namespace
