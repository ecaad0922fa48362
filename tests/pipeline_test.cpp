// Request pipeline in synchronous mode, against the platform simulator: the
// POST body on the wire, the answer in memory or in a file, the outcome codes
// of refused connections and error statuses, phase 4, refused URLs, the
// receive buffer, and the release of a job whose post is refused.
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "parse/pavo_parse_frame.h"
#include "pipeline_fixture.h"

namespace {

constexpr tpavo_httpecode kUntouchedCode = PAVO_HTTPE_LAST;
constexpr size_t kUntouchedSize = 12345;

struct Transfer {
    int result = 0;
    bool block_returned = false;
    std::string answer;
    size_t answersize = kUntouchedSize;
    tpavo_httpecode httpecode = kUntouchedCode;
    long httpretcode = -1;
};

Transfer post(const char* target, const char* body, tpavo_storetype storetype = STORETYPE_MEM,
              const char* localpath = nullptr, int phase = 0)
{
    Transfer transfer;
    int sentinel = 0;
    void* answer = &sentinel;
    transfer.result = pavo_addhttpjob(storetype, localpath, PAVO_CALLBACK_AAA, phase, 1,
                                      EPAVO_LOGIN, EPAVO_SCOPE_REQUEST, target, body,
                                      body != nullptr ? static_cast<int>(strlen(body)) : 0,
                                      &answer, &transfer.answersize, &transfer.httpecode,
                                      &transfer.httpretcode);
    EXPECT_NE(answer, &sentinel) << "the answer pointer is always reset";
    if (answer != nullptr) {
        transfer.block_returned = true;
        size_t size = transfer.answersize == kUntouchedSize ? 0 : transfer.answersize;
        transfer.answer.assign(static_cast<const char*>(answer), size);
        EXPECT_EQ(static_cast<const char*>(answer)[size], '\0');
        pavo_free(answer);
    }
    return transfer;
}

class Pipeline : public PipelineFixture {};

// The body goes out byte for byte and is logged with the address; the
// answer keeps its size across NUL bytes.
TEST_F(Pipeline, PostBodyArrivesByteForByteAndAnswerKeepsItsSize)
{
    const std::string body = "UserID=u%2D1&Name=a+b&Odd=%/0%5+&Raw=<\"&'>\xe4\xb8\xad&";
    const std::string answer("<R\0o\0t/>", 8);
    const std::string target = url("/Service/Echo");
    sim_->set_answer("/Service/Echo", answer);
    Transfer transfer = post(target.c_str(), body.c_str());
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(transfer.answer, answer);
    EXPECT_EQ(transfer.answersize, 8u);
    EXPECT_EQ(transfer.httpretcode, 200);
    EXPECT_EQ(transfer.httpecode, kUntouchedCode) << "success leaves the code alone";
    auto requests = sim_->requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].path, "/Service/Echo");
    EXPECT_EQ(requests[0].body, body);
    EXPECT_NE(log_text().find("post url data:" + body + "\r\nphase=0, pavo_upload url=" +
                              target + " \r\n"),
              std::string::npos);
}

// A refused connection gives the libcurl code and keeps the preset status;
// an error status fails with that status. Either way a memory request gets
// a block.
TEST_F(Pipeline, FailedTransferReportsCurlCodeOrStatus)
{
    sim_->set_fault("/Service/Broken", 500);
    const struct {
        std::string target;
        tpavo_httpecode httpecode;
        long httpretcode;
    } cases[] = {
        {"http://127.0.0.1:" + std::to_string(refused_port()) + "/Service/Login",
         PAVO_HTTPE_COULDNT_CONNECT, 200},
        {url("/Service/NoSuchService"), kUntouchedCode, 404},
        {url("/Service/Broken"), kUntouchedCode, 500},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target);
        Transfer transfer = post(c.target.c_str(), "k=v&");
        EXPECT_EQ(transfer.result, -1);
        EXPECT_EQ(transfer.httpecode, c.httpecode);
        EXPECT_EQ(transfer.httpretcode, c.httpretcode);
        EXPECT_TRUE(transfer.block_returned);
        if (c.httpecode == PAVO_HTTPE_COULDNT_CONNECT) {
            EXPECT_EQ(transfer.answersize, 0u);
        }
    }
    EXPECT_EQ(PAVO_HTTPE_COULDNT_CONNECT, 7);
    EXPECT_NE(log_text().find("Curl told us error 7 \r\n"), std::string::npos);
}

// A file store truncates an older file; without a path, or on an error
// status, it fails and leaves the file alone. A path that cannot be opened
// still reports success (the open is not checked), with nothing written.
TEST_F(Pipeline, FileStoreWritesExactBodyOverAnOlderFile)
{
    const std::string target = dir_.file("download.bin");
    write_file(target, std::string(1000, 'z'));
    const std::string body("new\0body\xff", 9);
    sim_->set_answer("/files/x", body);
    Transfer transfer = post(url("/files/x").c_str(), "", STORETYPE_FILE, target.c_str());
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(read_file(target), body);
    EXPECT_FALSE(transfer.block_returned) << "a file request returns nothing in memory";
    EXPECT_EQ(transfer.answersize, kUntouchedSize);

    sim_->set_answer("/files/x", "body");
    EXPECT_EQ(post(url("/files/x").c_str(), "", STORETYPE_FILE, nullptr).result, -1);
    EXPECT_EQ(post(url("/files/none").c_str(), "", STORETYPE_FILE, target.c_str()).result, -1);
    EXPECT_EQ(read_file(target), body);

    const std::string unopenable = dir_.file("no-such-dir/download.bin");
    sim_->set_answer("/files/x", "body");
    Transfer unchecked = post(url("/files/x").c_str(), "", STORETYPE_FILE, unopenable.c_str());
    EXPECT_EQ(unchecked.result, 0);
    EXPECT_EQ(unchecked.httpretcode, 200);
    EXPECT_FALSE(file_exists(unopenable));
}

TEST_F(Pipeline, PhaseFourKeepsNothing)
{
    sim_->set_answer("/Service/Report", "<Root>unkept</Root>");
    MemoryStruct chunk{};
    long status = -1;
    EXPECT_EQ(pavo_upload(url("/Service/Report").c_str(), "k=v&", PAVO_PHASE_NOBUFFER,
                          STORETYPE_MEM, &chunk, nullptr, nullptr, &status),
              0);
    EXPECT_EQ(status, 200);
    EXPECT_EQ(chunk.size, 0u);
    EXPECT_EQ(chunk.data, nullptr);

    sim_->set_answer("/Service/Report", "<Root>unkept</Root>");
    Transfer transfer = post(url("/Service/Report").c_str(), "k=v&", STORETYPE_MEM, nullptr,
                             PAVO_PHASE_NOBUFFER);
    EXPECT_EQ(transfer.result, 0);
    EXPECT_TRUE(transfer.block_returned);
    EXPECT_EQ(transfer.answersize, 0u);
    EXPECT_EQ(sim_->requests().size(), 2u);
}

TEST_F(Pipeline, MissingUrlOrBufferIsRefusedBeforeAnything)
{
    for (const char* target : {static_cast<const char*>(nullptr), ""}) {
        Transfer transfer = post(target, "k=v&");
        EXPECT_EQ(transfer.result, -1);
        EXPECT_FALSE(transfer.block_returned);
        EXPECT_EQ(transfer.httpretcode, -1) << "no transfer was tried";
    }
    std::string log = log_text();
    EXPECT_NE(log.find("error,reason url is not ok\r\nerror,reason url is not ok\r\n"),
              std::string::npos);
    EXPECT_EQ(log.find("post url data:"), std::string::npos);

    // pavo_upload itself refuses a missing URL or buffer, after the preset.
    MemoryStruct chunk{};
    long status = -1;
    EXPECT_EQ(pavo_upload(nullptr, "", 0, STORETYPE_MEM, &chunk, nullptr, nullptr, &status), -1);
    EXPECT_EQ(status, 200);
    status = -1;
    EXPECT_EQ(pavo_upload(url("/Service/Report").c_str(), "", 0, STORETYPE_MEM, nullptr, nullptr,
                          nullptr, &status),
              -1);
    EXPECT_EQ(status, 200);
    EXPECT_TRUE(sim_->requests().empty());
}

TEST(ChunkReceiver, GrowsByExactlyWhatArrivesAndStaysTerminated)
{
    MemoryStruct chunk{};
    char first[] = "abc";
    char second[] = "defg";
    EXPECT_EQ(chunkdata_callback(first, 1, 3, &chunk), 3u);
    EXPECT_EQ(chunk.size, 3u);
    EXPECT_STREQ(chunk.data, "abc");
    EXPECT_EQ(chunkdata_callback(second, 2, 2, &chunk), 4u);
    EXPECT_EQ(chunk.size, 7u);
    EXPECT_STREQ(chunk.data, "abcdefg");
    EXPECT_EQ(chunkdata_callback(second, 0, 4, &chunk), 0u);
    EXPECT_EQ(chunk.size, 7u);
    free(chunk.data);
}

TEST_F(Pipeline, JobRunsOnCallerWithoutWorkerPool)
{
    std::thread::id ran_on;  // no thread until the job runs
    t_threadpool pool = g_pavo_env.threadpool;
    g_pavo_env.threadpool = nullptr;
    auto job = [](void* arg) -> void* {
        *static_cast<std::thread::id*>(arg) = std::this_thread::get_id();
        return nullptr;
    };
    EXPECT_EQ(pavo_iner_addjob(job, &ran_on), 0);
    g_pavo_env.threadpool = pool;
    EXPECT_EQ(ran_on, std::this_thread::get_id());
}

// In synchronous mode the queue refuses the post; the job and its answer are
// released then (the leak checker of the sanitizer build sees it otherwise).
TEST_F(Pipeline, RefusedPostReleasesJob)
{
    ASSERT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
    std::string target = url("/Service/Report");
    t_httpjobarg* job = static_cast<t_httpjobarg*>(pavo_malloc(sizeof(t_httpjobarg)));
    job->url = pavo_copy_bytes(target.c_str(), target.size());
    job->param = pavo_copy_bytes("k=v&", 4);
    job->paramsize = 4;
    job->localpath = pavo_copy_bytes("unused", 6);
    EXPECT_EQ(pavo_inner_httpjob(job), nullptr);
    EXPECT_EQ(pavo_getmessagecount(), 0);
    EXPECT_EQ(sim_->requests().size(), 1u);
}

}  // namespace
