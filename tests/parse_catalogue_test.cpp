// Category and schedule lists, the clip list reader, and clip copies.
#include <cstring>
#include <string>

#include "parse/pavo_parse_catalogue.h"
#include "parse_test_util.h"
#include "xml/Markup.h"

namespace {

using namespace parse_test;

// Count 10 is overwritten by the two entries read; HasChild 257 keeps its
// low eight bits.
TEST_F(ParseTest, CategoryListKeepsDocumentOrderCountsEntriesAndDumps)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\"/>"
        "<Categorys TotalCount=\"30\" Count=\"10\" PageIndex=\"2\" PageSize=\"10\">"
        "<Category Code=\"c1\" ParentCode=\"root\" Name=\"One\" Desc=\"d1\" Icon1=\"i1\""
        " Icon2=\"i2\" BKImage1=\"b1\" BKImage2=\"b2\" HasChild=\"257\" Type=\"4\""
        " TemplateCode=\"t1\"/>"
        "<Other Code=\"x\"/><Category Code=\"c3\" Type=\"-2\"/></Categorys></Root>",
        DATATYPE_CATEGORYLIST);
    EXPECT_EQ(page_counts(result), "total=30 count=2 page=2 size=10");
    const tpavo_category* first = result->data.categorylistresponse;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->psubcat, nullptr);
    EXPECT_EQ(first->pparentcat, nullptr);
    const std::string banner = "***************category*************";
    EXPECT_EQ(dump_of(result),
              info_lines({"resultcode:0", "resultmesg:ok", banner, "code:c1", "parentcode:root",
                          "name:One", "desc:d1", "icon1:i1", "icon2:i2", "bgimage1:b1",
                          "bgimage2:b2", "templatecode:t1", "type:4", "haschild:1", banner,
                          "code:c3", "parentcode:", "name:", "desc:", "icon1:",
                          "icon2:", "bgimage1:", "bgimage2:", "templatecode:", "type:-2",
                          "haschild:0"}));
}

// The schedule dump has no result lines and says "null" in lower case.
TEST_F(ParseTest, ScheduleListIsReadInsideTheResultElement)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\" ResultMsg=\"ok\">"
        "<Schedules TotalCount=\"5\" Count=\"9\" PageIndex=\"1\" PageSize=\"20\">"
        "<Schedule Name=\"News\" ChannelCode=\"ch1\" Desc=\"d\" StartTime=\"20100101080000\""
        " EndTime=\"20100101083000\"/><Schedule Name=\"Film\"/></Schedules></Result></Root>",
        DATATYPE_SCHEDULELIST);
    EXPECT_EQ(page_counts(result), "total=5 count=2 page=1 size=20");
    const std::string banner = "**************schedule**************************";
    EXPECT_EQ(dump_of(result),
              info_lines({banner, "name:News", "channelcode:ch1", "desc:d",
                          "starttime:20100101080000", "endtime:20100101083000", banner,
                          "name:Film", "channelcode:", "desc:", "starttime:", "endtime:"}));
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

// AudioType lands in both audio fields; FileSize is 64 bits; flags keep their
// low eight bits.
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
    EXPECT_EQ(clip_numbers(*clips),
              "itemtype=0 type=1 episodeindex=2 ordercode=3 price=400 filesize=4294967297"
              " audiofieldtype=5 captioning=7 isdrm=1 candownload=2 canonlineplay=1"
              " screenformat=6 bitratetype=8 videotype=9 audiotype=5 resolution=10");
    EXPECT_STREQ(clips->videocode, "v1");
    EXPECT_STREQ(clips->duration, "01:30:00");
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

char* text(const char* literal) { return const_cast<char*>(literal); }

// A clip whose strings live in the test, so copies can be compared; the
// values follow the record order.
tpavo_videoclip sample_clip()
{
    return {2, text("item"), text("video"), 1, 3, 4, 5, 6000000000LL, text("00:10:00"),
            7, 8, 1, 1, 0, 9, 3, 10, 11, 12, nullptr};
}

TEST(CatalogueCopy, ClipCopiesDropBitRateTypeOnlyAndKeepOrder)
{
    tpavo_videoclip source = sample_clip();
    tpavo_videoclip second = {};
    second.videocode = text("second");
    source.next = &second;

    tpavo_videoclip* copy = dup_videoclip(&source);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->next, nullptr);
    EXPECT_EQ(clip_numbers(*copy),
              "itemtype=2 type=1 episodeindex=3 ordercode=4 price=5 filesize=6000000000"
              " audiofieldtype=7 captioning=8 isdrm=1 candownload=1 canonlineplay=0"
              " screenformat=9 bitratetype=0 videotype=10 audiotype=11 resolution=12");
    EXPECT_STREQ(copy->duration, source.duration);
    pavo_freevideoclip(copy);
    copy = dup_videocliplist(&source);
    ASSERT_NE(copy->next, nullptr);
    EXPECT_STREQ(copy->next->videocode, "second");
    EXPECT_EQ(copy->next->next, nullptr);
    pavo_freevideoclip(copy);
}

}  // namespace
