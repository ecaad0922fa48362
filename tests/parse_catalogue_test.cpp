// Category and schedule lists, the clip list reader, and the copy, free and
// dump operations of clips, channels, programmes and schedules.
#include <cstring>
#include <string>

#include "parse/pavo_parse_catalogue.h"
#include "parse_test_util.h"
#include "xml/Markup.h"

namespace {

using parse_test::dump_text;
using parse_test::info_lines;
using parse_test::parse;
using parse_test::ParseTest;

const char kCategoryAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
    "<Categorys TotalCount=\"30\" Count=\"10\" PageIndex=\"2\" PageSize=\"10\">"
    "<Category Code=\"c1\" ParentCode=\"root\" Name=\"One\" Desc=\"d1\" Icon1=\"i1\" Icon2=\"i2\""
    " BKImage1=\"b1\" BKImage2=\"b2\" HasChild=\"257\" Type=\"4\" TemplateCode=\"t1\"/>"
    "<Category Code=\"c2\" Name=\"Two\" HasChild=\"0\"/>"
    "<Other Code=\"x\"/>"
    "<Category Code=\"c3\" Type=\"-2\"/>"
    "</Categorys></Root>";

TEST_F(ParseTest, CategoryListKeepsDocumentOrderAndCountsEntries)
{
    auto result = parse(kCategoryAnswer, DATATYPE_CATEGORYLIST);
    EXPECT_EQ(result->datatype, DATATYPE_CATEGORYLIST);
    EXPECT_EQ(result->totalcount, 30);
    EXPECT_EQ(result->datacount, 3);
    EXPECT_EQ(result->pageindex, 2);
    EXPECT_EQ(result->pagesize, 10);
    const tpavo_category* first = result->data.categorylistresponse;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->haschild, 1);  // low 8 bits of 257
    EXPECT_EQ(first->psubcat, nullptr);
    EXPECT_EQ(first->pparentcat, nullptr);
    ASSERT_NE(first->next, nullptr);
    ASSERT_NE(first->next->next, nullptr);
    EXPECT_STREQ(first->next->next->code, "c3");
    EXPECT_EQ(first->next->next->next, nullptr);
}

// Prints every field, so it also shows what was read from each attribute.
TEST_F(ParseTest, CategoryListDumpPrintsEachCategory)
{
    auto result = parse(kCategoryAnswer, DATATYPE_CATEGORYLIST);
    const std::string banner = "***************category*************";
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", banner, "code:c1", "parentcode:root",
                          "name:One", "desc:d1", "icon1:i1", "icon2:i2", "bgimage1:b1",
                          "bgimage2:b2", "templatecode:t1", "type:4", "haschild:1", banner,
                          "code:c2", "parentcode:", "name:Two", "desc:", "icon1:", "icon2:",
                          "bgimage1:", "bgimage2:", "templatecode:", "type:0", "haschild:0",
                          banner, "code:c3", "parentcode:", "name:", "desc:", "icon1:",
                          "icon2:", "bgimage1:", "bgimage2:", "templatecode:", "type:-2",
                          "haschild:0"}));
}

TEST_F(ParseTest, EmptyCategoryListDumpsHeadOnly)
{
    auto result = parse("<Root><Result ResultCode=\"1\"/><Categorys Count=\"4\"/></Root>",
                        DATATYPE_CATEGORYLIST);
    EXPECT_EQ(result->datacount, 0);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:1", "resultmesg:"}));
    EXPECT_EQ(dump_text(dump_categorylistresult, nullptr), info_lines({"result is NULL"}));
}

TEST_F(ParseTest, CategoryListFreeClearsData)
{
    auto result = parse(kCategoryAnswer, DATATYPE_CATEGORYLIST);
    free_categorylistresult(result.get());
    EXPECT_EQ(result->data.ptr, nullptr);
    free_categorylistresult(result.get());
    free_categorylistresult(nullptr);
}

const char kScheduleAnswer[] =
    "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\">"
    "<Schedules TotalCount=\"5\" Count=\"9\" PageIndex=\"1\" PageSize=\"20\">"
    "<Schedule Name=\"News\" ChannelCode=\"ch1\" Desc=\"d\" StartTime=\"20100101080000\""
    " EndTime=\"20100101083000\"/>"
    "<Schedule Name=\"Film\"/>"
    "</Schedules></Result></Root>";

TEST_F(ParseTest, ScheduleListIsReadInsideTheResultElement)
{
    auto result = parse(kScheduleAnswer, DATATYPE_SCHEDULELIST);
    EXPECT_EQ(result->datatype, DATATYPE_SCHEDULELIST);
    EXPECT_EQ(result->totalcount, 5);
    EXPECT_EQ(result->datacount, 2);
    EXPECT_EQ(result->pageindex, 1);
    EXPECT_EQ(result->pagesize, 20);
    const tpavo_schedule* first = result->data.schedulelistresponse;
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->name, "News");
    EXPECT_STREQ(first->channelcode, "ch1");
    EXPECT_STREQ(first->desc, "d");
    EXPECT_STREQ(first->starttime, "20100101080000");
    EXPECT_STREQ(first->endtime, "20100101083000");
    ASSERT_NE(first->next, nullptr);
    EXPECT_STREQ(first->next->name, "Film");
    EXPECT_EQ(first->next->next, nullptr);
}

TEST_F(ParseTest, ScheduleListBesideResultIsEmpty)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/>"
        "<Schedules TotalCount=\"5\" Count=\"1\" PageIndex=\"1\" PageSize=\"20\">"
        "<Schedule Name=\"News\"/></Schedules></Root>",
        DATATYPE_SCHEDULELIST);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->datacount, 0);
    EXPECT_EQ(result->totalcount, 0);
    EXPECT_EQ(result->pageindex, 0);
    EXPECT_EQ(result->pagesize, 0);
}

TEST_F(ParseTest, ScheduleDumpIsLowerCaseAndHasNoResultLines)
{
    auto result = parse(kScheduleAnswer, DATATYPE_SCHEDULELIST);
    const std::string banner = "**************schedule**************************";
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({banner, "name:News", "channelcode:ch1", "desc:d",
                          "starttime:20100101080000", "endtime:20100101083000", banner,
                          "name:Film", "channelcode:", "desc:", "starttime:", "endtime:"}));
    free_schedulelistresult(result.get());
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"schedulelistresponse is null"}));
    EXPECT_EQ(dump_text(dump_schedulelistresult, nullptr), info_lines({"result is null"}));
    free_schedulelistresult(nullptr);
}

// Walks to the first Program of <Root><Programs>...</Programs></Root>.
void enter_programs(CMarkup& xml, const char* document)
{
    ASSERT_TRUE(xml.SetDoc(document));
    ASSERT_TRUE(xml.FindElem("Root"));
    ASSERT_TRUE(xml.IntoElem());
    ASSERT_TRUE(xml.FindElem("Programs"));
    ASSERT_TRUE(xml.IntoElem());
    ASSERT_TRUE(xml.FindElem("Program"));
}

TEST(ParseVideoclip, ReadsEveryClipAttributeAndRestoresPosition)
{
    CMarkup xml;
    enter_programs(xml,
                   "<Root><Programs><Program Code=\"p1\"><VideoClips>"
                   "<VideoClip Type=\"1\" VideoCode=\"v1\" EpisodeIndex=\"2\" OrderCode=\"3\""
                   " Price=\"400\" FileSize=\"4294967297\" Duration=\"01:30:00\" AudioType=\"5\""
                   " IsDRM=\"1\" CanDownload=\"258\" CanOnlinePlay=\"1\" ScreenFormat=\"6\""
                   " Captioning=\"7\" BitRateType=\"8\" VideoType=\"9\" Resolution=\"10\"/>"
                   "<Other/><VideoClip VideoCode=\"v2\"/>"
                   "</VideoClips></Program><Program Code=\"p2\"/></Programs></Root>");
    tpavo_videoclip* clips = parse_videoclip(xml);
    ASSERT_NE(clips, nullptr);
    EXPECT_EQ(clips->type, 1);
    EXPECT_STREQ(clips->videocode, "v1");
    EXPECT_EQ(clips->episodeindex, 2);
    EXPECT_EQ(clips->ordercode, 3);
    EXPECT_EQ(clips->price, 400);
    EXPECT_EQ(clips->filesize, 4294967297LL);
    EXPECT_STREQ(clips->duration, "01:30:00");
    EXPECT_EQ(clips->audiofieldtype, 5);
    EXPECT_EQ(clips->audiotype, 5);
    EXPECT_EQ(clips->isdrm, 1);
    EXPECT_EQ(clips->candownload, 2);
    EXPECT_EQ(clips->canonlineplay, 1);
    EXPECT_EQ(clips->screenformat, 6);
    EXPECT_EQ(clips->captioning, 7);
    EXPECT_EQ(clips->bitratetype, 8);
    EXPECT_EQ(clips->videotype, 9);
    EXPECT_EQ(clips->resolution, 10);
    EXPECT_EQ(clips->itemtype, 0);
    EXPECT_EQ(clips->itemcode, nullptr);
    ASSERT_NE(clips->next, nullptr);
    EXPECT_STREQ(clips->next->videocode, "v2");
    EXPECT_EQ(clips->next->next, nullptr);
    // Back on the programme, so the caller's next search finds its sibling.
    EXPECT_EQ(xml.GetAttrib("Code"), "p1");
    EXPECT_TRUE(xml.FindElem("Program"));
    EXPECT_EQ(xml.GetAttrib("Code"), "p2");
    pavo_freevideoclip(clips);
}

TEST(ParseVideoclip, FirstChildIsTakenAsTheContainer)
{
    CMarkup xml;
    enter_programs(xml,
                   "<Root><Programs><Program Code=\"p1\"><Extra/><VideoClips>"
                   "<VideoClip VideoCode=\"v1\"/></VideoClips></Program></Programs></Root>");
    EXPECT_EQ(parse_videoclip(xml), nullptr);
    EXPECT_EQ(xml.GetAttrib("Code"), "p1");
}

TEST(ParseVideoclip, ElementWithoutChildrenLeavesPositionOneLevelUp)
{
    CMarkup xml;
    enter_programs(xml,
                   "<Root><Programs><Program Code=\"bare\"/><Program Code=\"p2\"/></Programs>"
                   "<After Name=\"after\"/></Root>");
    EXPECT_EQ(parse_videoclip(xml), nullptr);
    // The main position is now Programs: no Program follows it, but its
    // own next sibling does.
    EXPECT_FALSE(xml.FindElem("Program"));
    EXPECT_TRUE(xml.FindElem("After"));
    EXPECT_EQ(xml.GetAttrib("Name"), "after");
}

// A clip whose strings live in the test, so copies can be compared.
tpavo_videoclip sample_clip()
{
    tpavo_videoclip clip = {};
    clip.itemtype = 2;
    clip.itemcode = const_cast<char*>("item");
    clip.videocode = const_cast<char*>("video");
    clip.type = 1;
    clip.episodeindex = 3;
    clip.ordercode = 4;
    clip.price = 5;
    clip.filesize = 6000000000LL;
    clip.duration = const_cast<char*>("00:10:00");
    clip.audiofieldtype = 7;
    clip.captioning = 8;
    clip.isdrm = 1;
    clip.candownload = 1;
    clip.canonlineplay = 0;
    clip.screenformat = 9;
    clip.bitratetype = 3;
    clip.videotype = 10;
    clip.audiotype = 11;
    clip.resolution = 12;
    return clip;
}

TEST(CatalogueCopy, ClipCopyDropsBitRateTypeOnly)
{
    tpavo_videoclip source = sample_clip();
    tpavo_videoclip other = sample_clip();
    source.next = &other;
    tpavo_videoclip* copy = dup_videoclip(&source);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->next, nullptr);
    EXPECT_EQ(copy->bitratetype, 0);
    EXPECT_EQ(copy->itemtype, 2);
    EXPECT_STREQ(copy->itemcode, "item");
    EXPECT_NE(copy->itemcode, source.itemcode);
    EXPECT_STREQ(copy->videocode, "video");
    EXPECT_NE(copy->videocode, source.videocode);
    EXPECT_STREQ(copy->duration, "00:10:00");
    EXPECT_NE(copy->duration, source.duration);
    EXPECT_EQ(copy->type, 1);
    EXPECT_EQ(copy->episodeindex, 3);
    EXPECT_EQ(copy->ordercode, 4);
    EXPECT_EQ(copy->price, 5);
    EXPECT_EQ(copy->filesize, 6000000000LL);
    EXPECT_EQ(copy->audiofieldtype, 7);
    EXPECT_EQ(copy->captioning, 8);
    EXPECT_EQ(copy->isdrm, 1);
    EXPECT_EQ(copy->candownload, 1);
    EXPECT_EQ(copy->canonlineplay, 0);
    EXPECT_EQ(copy->screenformat, 9);
    EXPECT_EQ(copy->videotype, 10);
    EXPECT_EQ(copy->audiotype, 11);
    EXPECT_EQ(copy->resolution, 12);
    pavo_freevideoclip(copy);
    EXPECT_EQ(dup_videoclip(nullptr), nullptr);
}

TEST(CatalogueCopy, ClipListCopyKeepsOrderAndNullStrings)
{
    EXPECT_EQ(dup_videocliplist(nullptr), nullptr);
    tpavo_videoclip first = sample_clip();
    tpavo_videoclip second = {};
    second.videocode = const_cast<char*>("second");
    first.next = &second;
    tpavo_videoclip* copy = dup_videocliplist(&first);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->videocode, "video");
    ASSERT_NE(copy->next, nullptr);
    EXPECT_NE(copy->next, &second);
    EXPECT_STREQ(copy->next->videocode, "second");
    EXPECT_EQ(copy->next->itemcode, nullptr);
    EXPECT_EQ(copy->next->duration, nullptr);
    EXPECT_EQ(copy->next->next, nullptr);
    pavo_freevideoclip(copy);
    pavo_freevideoclip(nullptr);
}

TEST(CatalogueCopy, ChannelCopyIsIndependentOfItsSource)
{
    tpavo_videoclip clip = sample_clip();
    tpavo_channel later = {};
    tpavo_channel source = {};
    source.code = const_cast<char*>("ch");
    source.name = const_cast<char*>("Channel");
    source.desc = nullptr;
    source.icon1 = const_cast<char*>("i1");
    source.icon2 = const_cast<char*>("i2");
    source.bkimage1 = const_cast<char*>("k1");
    source.bkimage2 = const_cast<char*>("k2");
    source.type = 2;
    source.timeshiftduration = 3600;
    source.pvideoclip = &clip;
    source.next = &later;
    tpavo_channel* copy = dup_channel(&source);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->code, "ch");
    EXPECT_NE(copy->code, source.code);
    EXPECT_STREQ(copy->name, "Channel");
    EXPECT_EQ(copy->desc, nullptr);
    EXPECT_STREQ(copy->icon1, "i1");
    EXPECT_STREQ(copy->icon2, "i2");
    EXPECT_STREQ(copy->bkimage1, "k1");
    EXPECT_STREQ(copy->bkimage2, "k2");
    EXPECT_EQ(copy->type, 2);
    EXPECT_EQ(copy->timeshiftduration, 3600);
    EXPECT_EQ(copy->next, nullptr);
    ASSERT_NE(copy->pvideoclip, nullptr);
    EXPECT_NE(copy->pvideoclip, &clip);
    EXPECT_EQ(copy->pvideoclip->bitratetype, 0);
    EXPECT_STREQ(copy->pvideoclip->videocode, "video");
    free_channel(copy);
    free_channel(nullptr);
    EXPECT_EQ(dup_channel(nullptr), nullptr);
}

TEST(CatalogueCopy, ProgramCopyIsIndependentOfItsSource)
{
    tpavo_program source = {};
    const char* texts[] = {"code",  "name",  "actor", "director", "region",
                           "lang",  "ptype", "keys",  "rating",   "desc",
                           "small1", "small2", "big1", "big2"};
    char** fields[] = {&source.code,        &source.name,        &source.actor,
                       &source.director,    &source.region,      &source.language,
                       &source.programtype, &source.keywords,    &source.ratinglevel,
                       &source.desc,        &source.smallimage1, &source.smallimage2,
                       &source.bigimage1,   &source.bigimage2};
    for (size_t i = 0; i < 14; ++i)
        *fields[i] = const_cast<char*>(texts[i]);
    source.type = 1;
    source.episodenum = 24;
    source.status = 3;
    tpavo_program later = {};
    source.next = &later;
    tpavo_program* copy = dup_program(&source);
    ASSERT_NE(copy, nullptr);
    char** copied[] = {&copy->code,        &copy->name,        &copy->actor,
                       &copy->director,    &copy->region,      &copy->language,
                       &copy->programtype, &copy->keywords,    &copy->ratinglevel,
                       &copy->desc,        &copy->smallimage1, &copy->smallimage2,
                       &copy->bigimage1,   &copy->bigimage2};
    for (size_t i = 0; i < 14; ++i) {
        SCOPED_TRACE(texts[i]);
        EXPECT_STREQ(*copied[i], texts[i]);
        EXPECT_NE(*copied[i], texts[i]);
    }
    EXPECT_EQ(copy->type, 1);
    EXPECT_EQ(copy->episodenum, 24);
    EXPECT_EQ(copy->status, 3);
    EXPECT_EQ(copy->next, nullptr);
    EXPECT_EQ(copy->pvideoclip, nullptr);
    free_program(copy);
    free_program(nullptr);
    EXPECT_EQ(dup_program(nullptr), nullptr);
}

TEST(CatalogueFree, SingleRecordFreesDoNotFollowNext)
{
    tpavo_program source = {};
    source.code = const_cast<char*>("p");
    tpavo_program* first = dup_program(&source);
    tpavo_program* second = dup_program(&source);
    first->next = second;
    free_program(first);
    EXPECT_STREQ(second->code, "p");  // still alive: next was not followed
    free_program(second);

    tpavo_schedule* schedule = static_cast<tpavo_schedule*>(pavo_malloc(sizeof(tpavo_schedule)));
    schedule->name = static_cast<char*>(pavo_malloc(4));
    schedule->endtime = static_cast<char*>(pavo_malloc(4));
    schedule->next = nullptr;
    free_schedule(schedule);
    free_schedule(nullptr);
}

TEST_F(ParseTest, ClipDumpPrintsFourFieldsPerClip)
{
    tpavo_videoclip first = sample_clip();
    tpavo_videoclip second = {};
    first.next = &second;
    const std::string banner = "**************videoclip********************";
    EXPECT_EQ(parse_test::captured_stdout([&] { dump_videoclip(&first); }),
              info_lines({banner, "itemcode:item", "itemtype:2", "videocode:video",
                          "duration:00:10:00", banner, "itemcode:", "itemtype:0", "videocode:",
                          "duration:"}));
    EXPECT_EQ(parse_test::captured_stdout([] { dump_videoclip(nullptr); }), "");
}

}  // namespace
