// Parsers and copies under an exhausted allocator: every allocation in turn
// fails once; nothing may crash or leak (LeakSanitizer checks the latter).
#include <cstdlib>
#include <string>
#include <utility>

#include "parse_test_util.h"
#include "service/pavo_global.h"

namespace {

using namespace parse_test;

// Fails exactly the n-th allocation (counting from 1) and no other.
struct FailingPool {
    int calls = 0;
    int fail_at = 0;
};

void* failing_malloc(size_t size, void* context)
{
    FailingPool* pool = static_cast<FailingPool*>(context);
    if (++pool->calls == pool->fail_at)
        return nullptr;
    return malloc(size);
}

void pool_free(void* block, void*) { free(block); }

class Exhaustion : public ParseTest {
protected:
    void SetUp() override
    {
        ParseTest::SetUp();
        handle_ = MyMemPoolConstruct(failing_malloc, pool_free, nullptr, nullptr, &pool_);
        g_pavo_env.mpool = handle_;
    }
    void TearDown() override
    {
        g_pavo_env.mpool = nullptr;
        MyMemePoolDestruct(handle_);
    }
    void fail_allocation(int n) { pool_ = {0, n}; }

    FailingPool pool_;
    HMYMEMPOOL handle_ = nullptr;
};

// Each answer text with its datatype.
const std::pair<const char*, tpavo_datatype> kAnswers[] = {
    {"<Root><Result ResultCode=\"0\" ResultMsg=\"m\"/><Response><ServerAuthenticator>a"
     "</ServerAuthenticator><UserToken>t</UserToken><DRMSrvAddress2>d</DRMSrvAddress2>"
     "<SystemTime>2010-01-01 00:00:00</SystemTime></Response></Root>",
     DATATYPE_LOGINRESULT},
    {"<Root><Result ResultCode=\"0\"/><Categorys><Category Code=\"a\" Name=\"b\"/>"
     "<Category Code=\"c\"/></Categorys></Root>",
     DATATYPE_CATEGORYLIST},
    {"<Root><Result ResultCode=\"0\"><Schedules><Schedule Name=\"a\"/><Schedule Name=\"b\"/>"
     "</Schedules></Result></Root>",
     DATATYPE_SCHEDULELIST},
    {"<Root><Result ResultCode=\"0\" ResultMsg=\"m\"/><Programee Count=\"2\">"
     "<Item Type=\"1\" Code=\"p\" Name=\"n\"/><Item Type=\"2\" Code=\"c\" Name=\"n\"/>"
     "</Programee><Programs><Program Code=\"p\" Name=\"x\"><VideoClips>"
     "<VideoClip VideoCode=\"v1\" Duration=\"d\"/><VideoClip VideoCode=\"v2\"/></VideoClips>"
     "</Program></Programs><Channels><Channel Code=\"c\" Name=\"y\"><VideoClips>"
     "<VideoClip VideoCode=\"v3\"/></VideoClips></Channel></Channels></Root>",
     DATATYPE_ITEM},
    {"raw", DATATYPE_EXTSERVICERESULT},
};

TEST_F(Exhaustion, EveryFailedAllocationIsSurvived)
{
    std::string logged;
    for (const auto& [text, datatype] : kAnswers) {
        SCOPED_TRACE(text);
        fail_allocation(0);
        parse(text, datatype);
        const int needed = pool_.calls;
        for (int n = 1; n <= needed; ++n) {
            SCOPED_TRACE(n);
            fail_allocation(n);
            logged += captured_stdout([&] {
                auto result = parse(text, datatype);
                ASSERT_NE(result, nullptr);
                if (n == 1) {  // the record itself: the failure result stands in
                    EXPECT_EQ(result->resultcode, -9000);
                }
                if (result->dumpproc != nullptr)
                    result->dumpproc(result.get());
            });
        }
    }
    // A failed copy is an error: red, on the console only.
    EXPECT_NE(logged.find("\033[1;31mdup videoclip failed\r\n\033[0m"), std::string::npos);
}

}  // namespace
