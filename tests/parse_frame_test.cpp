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
    for (int datatype : {0, 8, 12, 23, 24, -1}) {
        auto result = parse(kOpenAnswer, static_cast<tpavo_datatype>(datatype));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->resultcode, -9000) << datatype;
        EXPECT_EQ(result->datatype, DATATYPE_NORMAL);
        EXPECT_EQ(result->data.ptr, nullptr);
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
        {DATATYPE_LOGINRESULT, DATATYPE_LOGINRESULT, free_loginresult},
        {DATATYPE_LOGOUTRESULT, DATATYPE_RECHARGERESULT, free_logoutresult},
        {DATATYPE_QUERYPLAYURLRESULT, DATATYPE_QUERYPLAYURLRESULT, free_playresult},
        {DATATYPE_ITEM, DATATYPE_ITEM, free_categoryitemlistresult},
        {DATATYPE_RELATIVEITEMLIST, DATATYPE_RELATIVEITEMLIST, free_categoryitemlistresult},
        {DATATYPE_SCHEDULELIST, DATATYPE_SCHEDULELIST, free_schedulelistresult},
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
    EXPECT_EQ(result->datasize, 5u);
    // Exactly five bytes are printed although the block has no terminator
    // (ASan would report a read past it).
    EXPECT_EQ(dump_of(result), info_lines({"<Root"}));

    EXPECT_EQ(Result(pavo_parse(nullptr, 5, DATATYPE_EXTSERVICERESULT))->resultcode, -9000);
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
        auto result = Result(pavo_parse(
            row.document, row.document != nullptr ? std::strlen(row.document) : 0,
            DATATYPE_OPENRESULT));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(std::string("code=") + std::to_string(result->resultcode) + " msg=" +
                      (result->resultmsg != nullptr ? result->resultmsg : "(null)") +
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
    EXPECT_STREQ(open->accountdesc, " d ");   // untrimmed
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
    EXPECT_EQ(_atoi64("  -1234567"), -1234567);
    EXPECT_EQ(_atoi64("\t\n +42xyz"), 42);
    EXPECT_EQ(_atoi64("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(_atoi64("18446744073709551617"), 1);  // 2^64 + 1 wraps
    EXPECT_EQ(_atoi64("+-5"), 0);
    EXPECT_EQ(_atoi64("\xb5" "5"), 0);  // a high byte is neither blank nor digit
    EXPECT_EQ(_atoi64(nullptr), 0);
}

}  // namespace
