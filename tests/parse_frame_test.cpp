// The parse entry and the frame every answer shares: dispatch, the failure
// result, the raw extended-service copy, result code and message, _atoi64.
#include <cstring>
#include <string>

#include "parse_test_util.h"

namespace {

using parse_test::dump_text;
using parse_test::info_lines;
using parse_test::parse;
using parse_test::ParseTest;

const char kOpenAnswer[] =
    "<Root><Result ResultCode=\"3\" ResultMsg=\"fine &amp; dandy\"/>"
    "<Response><ServerAuthenticator>sa</ServerAuthenticator><UserID>u1</UserID>"
    "<NickName>nick</NickName><AccountDesc>desc</AccountDesc>"
    "<AAASrvAddress>http://a</AAASrvAddress><AAASrvAddress2>http://b</AAASrvAddress2>"
    "</Response></Root>";

void expect_failure_result(const tpavo_result* result)
{
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, -9000);
    EXPECT_EQ(result->resultmsg, nullptr);
    EXPECT_EQ(result->datatype, DATATYPE_NORMAL);
    EXPECT_EQ(result->freeproc, nullptr);
    EXPECT_EQ(result->dumpproc, nullptr);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->datasize, 0u);
}

TEST_F(ParseTest, UnsupportedDatatypesGiveFailureResult)
{
    const int unsupported[] = {0, 1, 8, 12, 13, 15, 16, 17, 18, 19, 23, 24, 1000, -1, -9000};
    for (int datatype : unsupported) {
        SCOPED_TRACE(datatype);
        auto result = parse(kOpenAnswer, static_cast<tpavo_datatype>(datatype));
        expect_failure_result(result.get());
    }
}

TEST_F(ParseTest, SupportedDatatypesCarryTheirTagsAndProcedures)
{
    struct Row {
        tpavo_datatype requested;
        tpavo_datatype tag;
        pavo_data_freeproc freeproc;
    };
    const Row rows[] = {
        {DATATYPE_OPENRESULT, DATATYPE_OPENRESULT, free_openresult},
        {DATATYPE_LOGINRESULT, DATATYPE_LOGINRESULT, free_loginresult},
        {DATATYPE_LOGOUTRESULT, DATATYPE_RECHARGERESULT, free_logoutresult},
        {DATATYPE_RECHARGERESULT, DATATYPE_RECHARGERESULT, free_rechargeresult},
        {DATATYPE_QUERYPLAYURLRESULT, DATATYPE_QUERYPLAYURLRESULT, free_playresult},
        {DATATYPE_CATEGORYLIST, DATATYPE_CATEGORYLIST, free_categorylistresult},
        {DATATYPE_ITEMLIST, DATATYPE_ITEMLIST, free_categoryitemlistresult},
        {DATATYPE_ITEM, DATATYPE_ITEM, free_categoryitemlistresult},
        {DATATYPE_RELATIVEITEMLIST, DATATYPE_RELATIVEITEMLIST, free_categoryitemlistresult},
        {DATATYPE_SCHEDULELIST, DATATYPE_SCHEDULELIST, free_schedulelistresult},
        {DATATYPE_EXTSERVICERESULT, DATATYPE_EXTSERVICERESULT, free_extserviceresult},
        {DATATYPE_UPGRADEOSRESULT, DATATYPE_UPGRADEOSRESULT, free_upgradeosresult},
        {DATATYPE_UPGRADERESRESULT, DATATYPE_UPGRADEOSRESULT, free_upgraderesresult},
    };
    const std::string answer = "<Root><Result ResultCode=\"-1\"/></Root>";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.requested);
        auto result = parse(answer, row.requested);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->datatype, row.tag);
        EXPECT_EQ(result->freeproc, row.freeproc);
        EXPECT_NE(result->dumpproc, nullptr);
    }
}

TEST_F(ParseTest, ExtendedServiceAnswerIsCopiedRawWithoutTerminator)
{
    const char text[] = "<Root>hello</Root>";
    auto result = parse_test::Result(pavo_parse(text, 5, DATATYPE_EXTSERVICERESULT));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->datatype, DATATYPE_EXTSERVICERESULT);
    EXPECT_EQ(result->datasize, 5u);
    ASSERT_NE(result->data.extserviceresponse, nullptr);
    EXPECT_NE(result->data.extserviceresponse, text);
    EXPECT_EQ(std::memcmp(result->data.extserviceresponse, text, 5), 0);
    EXPECT_EQ(result->freeproc, free_extserviceresult);
    EXPECT_EQ(result->dumpproc, dump_extserviceresult);
    // Exactly five bytes are printed although the block has no terminator
    // (ASan would report a read past it).
    EXPECT_EQ(dump_text(result->dumpproc, result.get()), info_lines({"<Root"}));
}

TEST_F(ParseTest, ExtendedServiceFreeAndDumpIgnoreMissingData)
{
    free_extserviceresult(nullptr);
    EXPECT_EQ(dump_text(dump_extserviceresult, nullptr), "");
    auto result = parse("abc", DATATYPE_EXTSERVICERESULT);
    free_extserviceresult(result.get());
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(dump_text(dump_extserviceresult, result.get()), "");
}

TEST_F(ParseTest, DocumentsThatAreNotWellFormedReadAsSuccessWithoutData)
{
    const char* documents[] = {
        "",
        "not xml at all",
        "<Root><Result ResultCode=\"-5\" ResultMsg=\"x\"/><Response>",
        "<Root><Result ResultCode=\"-5\"/></Root><Other/>",
        "<Root><Result ResultCode=\"-5\"/></Root></Lone>",
    };
    for (const char* document : documents) {
        SCOPED_TRACE(document);
        auto result = parse(document, DATATYPE_OPENRESULT);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->resultcode, 0);
        EXPECT_EQ(result->resultmsg, nullptr);
        EXPECT_EQ(result->data.ptr, nullptr);
        EXPECT_EQ(result->datatype, DATATYPE_OPENRESULT);
        EXPECT_EQ(result->freeproc, free_openresult);
        EXPECT_EQ(result->dumpproc, dump_openresult);
    }
    auto null_text = parse_test::Result(pavo_parse(nullptr, 0, DATATYPE_OPENRESULT));
    ASSERT_NE(null_text, nullptr);
    EXPECT_EQ(null_text->resultcode, 0);
    EXPECT_EQ(null_text->data.ptr, nullptr);
    auto direct = parse_test::Result(pavo_parseloginresult(nullptr));
    ASSERT_NE(direct, nullptr);
    EXPECT_EQ(direct->data.ptr, nullptr);
}

TEST_F(ParseTest, ResultCodeComesFromWhateverElementStandsFirstInRoot)
{
    auto result = parse(
        "<Root><Status ResultCode=\"-12\" ResultMsg=\"denied\"/>"
        "<Result ResultCode=\"0\"/></Root>",
        DATATYPE_OPENRESULT);
    EXPECT_EQ(result->resultcode, -12);
    EXPECT_STREQ(result->resultmsg, "denied");
    EXPECT_EQ(result->data.ptr, nullptr);
}

TEST_F(ParseTest, ResultCodeIsReadLikeAtoi)
{
    auto result = parse("<Root><Result ResultCode=\" -7abc\" ResultMsg=\"\"/></Root>",
                        DATATYPE_OPENRESULT);
    EXPECT_EQ(result->resultcode, -7);
    EXPECT_EQ(result->resultmsg, nullptr);
    EXPECT_EQ(result->data.ptr, nullptr);
}

TEST_F(ParseTest, MissingResultAttributesReadAsZeroAndNull)
{
    auto result = parse("<Root><Response><UserID>u</UserID></Response></Root>",
                        DATATYPE_OPENRESULT);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->resultmsg, nullptr);
}

TEST_F(ParseTest, MessageIsAnOwnedDecodedCopy)
{
    auto result = parse(kOpenAnswer, DATATYPE_OPENRESULT);
    EXPECT_EQ(result->resultcode, 3);
    EXPECT_STREQ(result->resultmsg, "fine & dandy");
    EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
    EXPECT_EQ(result->httpretcode, 0);
    EXPECT_EQ(result->totalcount, 0);
    EXPECT_EQ(result->datasize, 0u);
}

TEST_F(ParseTest, MissingFieldRepeatsItsPredecessor)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Response><UserID>u1</UserID>"
        "<AccountDesc>d</AccountDesc><Other>x</Other><AAASrvAddress2>b</AAASrvAddress2>"
        "</Response></Root>",
        DATATYPE_OPENRESULT);
    const tpavo_openresponse* open = result->data.openresponse;
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(open->serverauthenticator, nullptr);  // first field: nothing before it
    EXPECT_STREQ(open->userid, "u1");
    EXPECT_STREQ(open->nickname, "u1");
    EXPECT_STREQ(open->accountdesc, "d");
    EXPECT_STREQ(open->aaasrvaddress, "d");
    EXPECT_STREQ(open->aaasrvaddress2, "b");
    EXPECT_NE(open->userid, open->nickname);  // each field owns its copy
}

TEST_F(ParseTest, FieldsOutOfOrderAreNotFound)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Response><NickName>n</NickName>"
        "<UserID>u</UserID></Response></Root>",
        DATATYPE_OPENRESULT);
    const tpavo_openresponse* open = result->data.openresponse;
    ASSERT_NE(open, nullptr);
    EXPECT_STREQ(open->userid, "u");
    EXPECT_STREQ(open->nickname, "u");
}

TEST_F(ParseTest, TextIsKeptUntrimmedAndEmptyTextIsNull)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Response><ServerAuthenticator> a b </ServerAuthenticator>"
        "<UserID></UserID><NickName/></Response></Root>",
        DATATYPE_OPENRESULT);
    const tpavo_openresponse* open = result->data.openresponse;
    ASSERT_NE(open, nullptr);
    EXPECT_STREQ(open->serverauthenticator, " a b ");
    EXPECT_EQ(open->userid, nullptr);
    EXPECT_EQ(open->nickname, nullptr);
}

TEST_F(ParseTest, TestParsePrintsTheTextOnly)
{
    std::string out =
        parse_test::captured_stdout([] { pavo_test_parse("<Root/>"); });
    EXPECT_EQ(out, "begin test parse:<Root/>\r\n");
}

TEST(Atoi64, ReadsLikeAtoiInSixtyFourBits)
{
    EXPECT_EQ(_atoi64("  -1234567"), -1234567);
    EXPECT_EQ(_atoi64("+9"), 9);
    EXPECT_EQ(_atoi64("\t\n 42xyz"), 42);
    EXPECT_EQ(_atoi64("4294967297"), 4294967297LL);
    EXPECT_EQ(_atoi64("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(_atoi64("18446744073709551617"), 1);  // 2^64 + 1 wraps
    EXPECT_EQ(_atoi64("-18446744073709551615"), 1);
    EXPECT_EQ(_atoi64("abc"), 0);
    EXPECT_EQ(_atoi64(""), 0);
    EXPECT_EQ(_atoi64("- 5"), 0);
    EXPECT_EQ(_atoi64("+-5"), 0);
    EXPECT_EQ(_atoi64("\xb5" "5"), 0);  // a high byte is neither blank nor digit
    EXPECT_EQ(_atoi64(nullptr), 0);
}

}  // namespace
