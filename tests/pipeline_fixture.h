// Shared fixture of the request pipeline tests: one platform simulator per
// test program, and per test a fresh working directory whose korix.conf
// sends the information log to pavo.log there, so that exact log lines can
// be checked.
#ifndef PAVO_TEST_PIPELINE_FIXTURE_H
#define PAVO_TEST_PIPELINE_FIXTURE_H

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "service/pavo_global.h"
#include "service/pavo_upload.h"
#include "support/platform_sim.h"
#include "support/temp_dir.h"

class PipelineFixture : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sim_ = std::make_unique<pavo_test::PlatformSim>(); }
    static void TearDownTestSuite() { sim_.reset(); }

    void SetUp() override
    {
        sim_->reset();
        pavo_test::write_korix_conf(dir_.path(),
                                    {{"logmode", "3"}, {"logdirectory", dir_.path()}});
        pavo_init_param param{};
        param.workdirectory = const_cast<char*>(dir_.path().c_str());
        param.ipversion = 4;
        ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    }

    void TearDown() override { pavo_cleanup(); }

    static std::string url(const std::string& path) { return sim_->base_url() + path; }

    std::string log_text() const
    {
        if (g_pavo_env.logfileptr != nullptr)
            fflush(g_pavo_env.logfileptr);
        return read_file(dir_.file("pavo.log"));
    }

    std::string config_text() const { return read_file(dir_.file("korix.conf")); }

    // A loopback port that refuses connections: bound, never listened on, closed.
    static int refused_port()
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

    static std::unique_ptr<pavo_test::PlatformSim> sim_;
    TempDir dir_;
};

inline std::unique_ptr<pavo_test::PlatformSim> PipelineFixture::sim_;

#endif
