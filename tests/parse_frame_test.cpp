// The parse entry and the frame every answer shares: dispatch, the failure
// result, the raw extended-service copy, result code and message, _atoi64.
#include <cstring>
#include <string>

#include "parse_test_util.h"

namespace {

using namespace parse_test;

const char kOpenAnswer[] =
    "<Root><Result ResultCode=\"3\" ResultMsg=\"fine &amp; dandy\"/>"
    "<Response><ServerAuthenticator>sa</ServerAuthenticator><UserID>u1</UserID>"
    "<NickName>nick</NickName><AccountDesc>desc</AccountDesc>"
    "<AAASrvAddress>http://a</AAASrvAddress><AAASrvAddress2>http://b</AAASrvAddress2>"
    "</Response></Root>";

TEST_F(ParseTest, UnsupportedDatatypesGiveFailureResult)
{
    for (int datatype : {0, 1, 8, 12, 13, 15, 16, 17, 18, 19, 23, 24, 1000, -1, -9000}) {
        SCOPED_TRACE(datatype);
        auto result = parse(kOpenAnswer, static_cast<tpavo_datatype>(datatype));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->resultcode, -9000);
        EXPECT_EQ(result->resultmsg, nullptr);
        EXPECT_EQ(result->datatype, DATATYPE_NORMAL);
        EXPECT_EQ(result->freeproc, nullptr);
        EXPECT_EQ(result->dumpproc, nullptr);
        EXPECT_EQ(result->data.ptr, nullptr);
        EXPECT_EQ(result->datasize, 0u);
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
    for (const Row& row : rows) {
        SCOPED_TRACE(row.requested);
        auto result = parse("<Root><Result ResultCode=\"-1\"/></Root>", row.requested);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->datatype, row.tag);
        EXPECT_EQ(result->freeproc, row.freeproc);
        EXPECT_NE(result->dumpproc, nullptr);
    }
}

TEST_F(ParseTest, ExtendedServiceAnswerIsCopiedRawWithoutTerminator)
{
    const char text[] = "<Root>hello</Root>";
    auto result = Result(pavo_parse(text, 5, DATATYPE_EXTSERVICERESULT));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->datasize, 5u);
    ASSERT_NE(result->data.extserviceresponse, nullptr);
    EXPECT_NE(result->data.extserviceresponse, text);
    EXPECT_EQ(std::memcmp(result->data.extserviceresponse, text, 5), 0);
    EXPECT_EQ(result->dumpproc, dump_extserviceresult);
    // Exactly five bytes are printed although the block has no terminator
    // (ASan would report a read past it).
    EXPECT_EQ(dump_of(result), info_lines({"<Root"}));

    free_extserviceresult(result.get());
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(dump_text(dump_extserviceresult, result.get()), "");
    EXPECT_EQ(dump_text(dump_extserviceresult, nullptr), "");
    free_extserviceresult(nullptr);

    auto missing = Result(pavo_parse(nullptr, 5, DATATYPE_EXTSERVICERESULT));
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(missing->resultcode, -9000);
    EXPECT_EQ(missing->data.ptr, nullptr);
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
        {"", "code=0 msg=(null) record=no"},
        {"not xml at all", "code=0 msg=(null) record=no"},
        {"<Root><Result ResultCode=\"-5\" ResultMsg=\"x\"/><Response>",
         "code=0 msg=(null) record=no"},
        {"<Root><Result ResultCode=\"-5\"/></Root><Other/>", "code=0 msg=(null) record=no"},
        {"<Root><Result ResultCode=\"-5\"/></Root></Lone>", "code=0 msg=(null) record=no"},
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
        auto result = Result(pavo_parse(
            row.document, row.document != nullptr ? std::strlen(row.document) : 0,
            DATATYPE_OPENRESULT));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(std::string("code=") + std::to_string(result->resultcode) + " msg=" +
                      (result->resultmsg != nullptr ? result->resultmsg : "(null)") +
                      " record=" + (result->data.ptr != nullptr ? "yes" : "no"),
                  row.head);
        EXPECT_EQ(result->datatype, DATATYPE_OPENRESULT);
        EXPECT_EQ(result->freeproc, free_openresult);
        EXPECT_EQ(result->dumpproc, dump_openresult);
        EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
        EXPECT_EQ(result->httpretcode, 0);
        EXPECT_EQ(result->datasize, 0u);
    }
    auto direct = Result(pavo_parseloginresult(nullptr));
    ASSERT_NE(direct, nullptr);
    EXPECT_EQ(direct->data.ptr, nullptr);
}

// Fields are searched forward only: a missing one, or one standing before its
// predecessor, repeats the text of the field read before it.
TEST_F(ParseTest, MissingOrMisplacedFieldRepeatsItsPredecessor)
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

    auto reversed = parse(
        "<Root><Result ResultCode=\"0\"/><Response><NickName>n</NickName>"
        "<UserID>u</UserID></Response></Root>",
        DATATYPE_OPENRESULT);
    ASSERT_NE(reversed->data.openresponse, nullptr);
    EXPECT_STREQ(reversed->data.openresponse->userid, "u");
    EXPECT_STREQ(reversed->data.openresponse->nickname, "u");
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
    EXPECT_EQ(captured_stdout([] { pavo_test_parse("<Root/>"); }),
              "begin test parse:<Root/>\r\n");
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
