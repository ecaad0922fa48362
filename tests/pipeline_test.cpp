// Request pipeline in synchronous mode, against the platform simulator: the
// POST body on the wire, the answer in memory or in a file, the outcome codes
// of refused connections, error statuses and refused URLs, phase 4, and the
// release of a job whose post is refused.
#include <unistd.h>

#include <cstring>
#include <string>

#include "service/pavo_upload.h"
#include "service_fixture.h"

namespace {

constexpr tpavo_httpecode kUntouchedCode = PAVO_HTTPE_LAST;

struct Transfer {
    int result = 0;
    bool block_returned = false;
    std::string answer;
    size_t answersize = 12345;
    tpavo_httpecode httpecode = kUntouchedCode;
    long httpretcode = -1;
};

// The library started against the simulator, its log on the console.
class Pipeline : public pavo_test::ServiceTest {
protected:
    static std::string url(const std::string& path) { return sim_->base_url() + path; }

    // Runs the transfer; `log` receives what it logged.
    static Transfer post(const char* target, const char* body, std::string* log = nullptr,
                         tpavo_storetype storetype = STORETYPE_MEM,
                         const char* localpath = nullptr, int phase = 0)
    {
        Transfer transfer;
        int sentinel = 0;
        void* answer = &sentinel;
        testing::internal::CaptureStdout();
        transfer.result = pavo_addhttpjob(storetype, localpath, PAVO_CALLBACK_AAA, phase, 1,
                                          EPAVO_LOGIN, EPAVO_SCOPE_REQUEST, target, body,
                                          static_cast<int>(strlen(body)), &answer,
                                          &transfer.answersize, &transfer.httpecode,
                                          &transfer.httpretcode);
        std::string printed = testing::internal::GetCapturedStdout();
        if (log != nullptr)
            *log = printed;
        EXPECT_NE(answer, &sentinel) << "the answer pointer is always reset";
        if (answer != nullptr) {
            transfer.block_returned = true;
            size_t size = transfer.answersize == 12345 ? 0 : transfer.answersize;
            transfer.answer.assign(static_cast<const char*>(answer), size);
            EXPECT_EQ(static_cast<const char*>(answer)[size], '\0');
            pavo_free(answer);
        }
        return transfer;
    }
};

// The body goes out byte for byte and is logged with the address; the
// answer keeps its size across NUL bytes; phase 4 keeps no answer.
TEST_F(Pipeline, PostBodyArrivesByteForByteAndAnswerKeepsItsSize)
{
    const std::string body = "UserID=u%2D1&Name=a+b&Odd=%/0%5+&Raw=<\"&'>\xe4\xb8\xad&";
    const std::string answer("<R\0o\0t/>", 8);
    const std::string target = url("/Service/Echo");
    sim_->set_answer("/Service/Echo", answer);
    std::string log;
    Transfer transfer = post(target.c_str(), body.c_str(), &log);
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(transfer.answer, answer);
    EXPECT_EQ(transfer.httpecode, kUntouchedCode) << "success leaves the code alone";
    ASSERT_EQ(sim_->requests().size(), 1u);
    EXPECT_EQ(sim_->requests()[0].body, body);
    EXPECT_NE(log.find("post url data:" + body +
                       "\r\n\033[0m\033[1;32mphase=0, pavo_upload url=" + target + " \r\n"),
              std::string::npos)
        << log;
    sim_->set_answer("/Service/Echo", answer);
    transfer = post(target.c_str(), "", nullptr, STORETYPE_MEM, nullptr, PAVO_PHASE_NOBUFFER);
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(transfer.answersize, 0u);
}

// A refused connection gives the libcurl code and keeps the preset status; an
// error status fails with that status (a block either way); a missing URL is
// refused before anything.
TEST_F(Pipeline, FailedTransferReportsCurlCodeOrStatus)
{
    sim_->set_fault("/Service/Broken", 500);
    const struct {
        std::string target;
        tpavo_httpecode httpecode;
        long httpretcode;
    } cases[] = {
        {"http://127.0.0.1:" + std::to_string(pavo_test::refused_port()) + "/Service/Login",
         PAVO_HTTPE_COULDNT_CONNECT, 200},
        {url("/Service/NoSuchService"), kUntouchedCode, 404},
        {url("/Service/Broken"), kUntouchedCode, 500},
        {"", kUntouchedCode, -1},
    };
    std::string log, all;
    for (const auto& c : cases) {
        Transfer transfer = post(c.target.c_str(), "k=v&", &log);
        all += log;
        EXPECT_EQ(transfer.result, -1) << c.target;
        EXPECT_EQ(transfer.httpecode, c.httpecode) << c.target;
        EXPECT_EQ(transfer.httpretcode, c.httpretcode) << c.target;
        EXPECT_EQ(transfer.block_returned, c.httpretcode != -1) << c.target;
    }
    EXPECT_NE(all.find("Curl told us error 7 \r\n"), std::string::npos) << all;
}

// A file store truncates an older file; an error status leaves it alone. A
// path that cannot be opened still reports success (the open is not checked).
TEST_F(Pipeline, FileStoreWritesExactBodyOverAnOlderFile)
{
    const std::string target = workdir_->file("download.bin");
    write_file(target, std::string(1000, 'z'));
    const std::string body("new\0body\xff", 9);
    sim_->set_answer("/files/x", body);
    Transfer transfer =
        post(url("/files/x").c_str(), "", nullptr, STORETYPE_FILE, target.c_str());
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(read_file(target), body);
    EXPECT_FALSE(transfer.block_returned) << "a file request returns nothing in memory";
    EXPECT_EQ(
        post(url("/files/none").c_str(), "", nullptr, STORETYPE_FILE, target.c_str()).result, -1);
    EXPECT_EQ(read_file(target), body);
    const std::string unopenable = workdir_->file("no-such-dir/download.bin");
    sim_->set_answer("/files/x", body);
    EXPECT_EQ(
        post(url("/files/x").c_str(), "", nullptr, STORETYPE_FILE, unopenable.c_str()).result, 0);
}

// In synchronous mode the queue refuses the post; the job and its answer are
// released then (the leak checker of the sanitizer build sees it otherwise).
TEST_F(Pipeline, RefusedPostReleasesJob)
{
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
