// Request pipeline in synchronous mode, against the platform simulator: the
// POST body on the wire, the answer in memory or in a file, the outcome codes
// of refused connections, error statuses and refused URLs, phase 4, and the
// release of a job whose post is refused.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "parse/pavo_parse_frame.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"
#include "support/platform_sim.h"

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

// A loopback port that refuses connections: bound, never listened on, closed.
int refused_port()
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

// One simulator per program; per test a directory whose korix.conf sends the
// information log to pavo.log there.
class Pipeline : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sim_ = std::make_unique<pavo_test::PlatformSim>(); }
    static void TearDownTestSuite() { sim_.reset(); }
    void SetUp() override
    {
        sim_->reset();
        pavo_test::write_korix_conf(dir_.path(), {{"logmode", "3"}, {"logdirectory", dir_.path()}});
        pavo_init_param param{};
        param.workdirectory = const_cast<char*>(dir_.path().c_str());
        ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    }
    void TearDown() override { pavo_cleanup(); }

    static std::string url(const std::string& path) { return sim_->base_url() + path; }
    std::string log_text() const
    {
        fflush(g_pavo_env.logfileptr);
        return read_file(dir_.file("pavo.log"));
    }

    static Transfer post(const char* target, const char* body,
                         tpavo_storetype storetype = STORETYPE_MEM,
                         const char* localpath = nullptr, int phase = 0)
    {
        Transfer transfer;
        int sentinel = 0;
        void* answer = &sentinel;
        transfer.result = pavo_addhttpjob(
            storetype, localpath, PAVO_CALLBACK_AAA, phase, 1, EPAVO_LOGIN, EPAVO_SCOPE_REQUEST,
            target, body, static_cast<int>(strlen(body)), &answer, &transfer.answersize,
            &transfer.httpecode, &transfer.httpretcode);
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

    static std::unique_ptr<pavo_test::PlatformSim> sim_;
    TempDir dir_;
};

std::unique_ptr<pavo_test::PlatformSim> Pipeline::sim_;

// The body goes out byte for byte and is logged with the address; the
// answer keeps its size across NUL bytes; phase 4 keeps no answer.
TEST_F(Pipeline, PostBodyArrivesByteForByteAndAnswerKeepsItsSize)
{
    const std::string body = "UserID=u%2D1&Name=a+b&Odd=%/0%5+&Raw=<\"&'>\xe4\xb8\xad&";
    const std::string answer("<R\0o\0t/>", 8);
    const std::string target = url("/Service/Echo");
    sim_->set_answer("/Service/Echo", answer);
    Transfer transfer = post(target.c_str(), body.c_str());
    EXPECT_EQ(transfer.result, 0);
    EXPECT_EQ(transfer.answer, answer);
    EXPECT_EQ(transfer.httpecode, kUntouchedCode) << "success leaves the code alone";
    ASSERT_EQ(sim_->requests().size(), 1u);
    EXPECT_EQ(sim_->requests()[0].body, body);
    EXPECT_NE(log_text().find("post url data:" + body + "\r\nphase=0, pavo_upload url=" +
                              target + " \r\n"),
              std::string::npos);
    sim_->set_answer("/Service/Echo", answer);
    transfer = post(target.c_str(), "", STORETYPE_MEM, nullptr, PAVO_PHASE_NOBUFFER);
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
        {"http://127.0.0.1:" + std::to_string(refused_port()) + "/Service/Login",
         PAVO_HTTPE_COULDNT_CONNECT, 200},
        {url("/Service/NoSuchService"), kUntouchedCode, 404},
        {url("/Service/Broken"), kUntouchedCode, 500},
        {"", kUntouchedCode, -1},
    };
    for (const auto& c : cases) {
        Transfer transfer = post(c.target.c_str(), "k=v&");
        EXPECT_EQ(transfer.result, -1) << c.target;
        EXPECT_EQ(transfer.httpecode, c.httpecode) << c.target;
        EXPECT_EQ(transfer.httpretcode, c.httpretcode) << c.target;
        EXPECT_EQ(transfer.block_returned, c.httpretcode != -1) << c.target;
    }
    EXPECT_NE(log_text().find("Curl told us error 7 \r\n"), std::string::npos);
}

// A file store truncates an older file; an error status leaves it alone. A
// path that cannot be opened still reports success (the open is not checked).
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
    EXPECT_EQ(post(url("/files/none").c_str(), "", STORETYPE_FILE, target.c_str()).result, -1);
    EXPECT_EQ(read_file(target), body);
    const std::string unopenable = dir_.file("no-such-dir/download.bin");
    sim_->set_answer("/files/x", body);
    EXPECT_EQ(post(url("/files/x").c_str(), "", STORETYPE_FILE, unopenable.c_str()).result, 0);
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
