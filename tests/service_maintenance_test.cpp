// Tests of the maintenance requests against the platform simulator (their bodies are in
// the request table of service_requests_test): the upgrade offer, the status report that
// leaves the last result alone, downloads in any state, the server clock learnt at login.
#include <sys/time.h>

#include <string>

#include "service_fixture.h"
#include "support/temp_dir.h"

namespace pavo_test {
namespace {

using Maintenance = ServiceTest;

std::string sim_file(const std::string& name)
{
    return read_file(std::string(PAVO_SIM_DATA) + "/files/" + name);
}

// The server clock belongs to the process and only a login sets it, so this test comes
// first in the program (ctest runs every test in a process of its own anyway).
TEST_F(Maintenance, ServerTimeIsZeroBeforeLoginAndThePlatformClockAfter)
{
    struct timeval tv = {99, 777};
    ASSERT_EQ(pavo_get_time(&tv), 0);
    EXPECT_EQ(tv.tv_sec, 0);
    EXPECT_EQ(tv.tv_usec, 777);

    open_and_login();
    ASSERT_EQ(pavo_get_time(&tv), 0);
    EXPECT_EQ(static_cast<unsigned long>(tv.tv_sec), pavo_nsecstr2ulong(kSimClock));
    EXPECT_NE(tv.tv_sec, 0);
}

// The status report, answered or not, shows only in its return value.
TEST_F(Maintenance, UpgradeAnswersOfferTheirFilesAndTheReportKeepsTheLastResult)
{
    open_and_login();
    ASSERT_EQ(pavo_upgradeos(2), PAVO_STATUS_SUCCESS);
    tpavo_result* result = successful_result(DATATYPE_UPGRADEOSRESULT);
    ASSERT_NE(result, nullptr);
    const tpavo_upgradeosresponse* os = result->data.upgradeosresponse;
    ASSERT_NE(os, nullptr);
    EXPECT_EQ(os->upgrademode, 1);
    EXPECT_EQ(std::string(os->fileurl), sim_->base_url() + "/files/pavo-os-2.1.0.img");
    EXPECT_EQ(std::string(os->filehash), sha1_text(sim_file("pavo-os-2.1.0.img")));

    sim_->set_fault("/Service/Report", 503);
    EXPECT_EQ(pavo_statusreport(4), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), result);
}

TEST_F(Maintenance, DownloadBeforeOpeningWritesTheExactBytes)
{
    ASSERT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    const std::string target = workdir_->file("skin.res");
    const std::string url = sim_->base_url() + "/files/skin-2026.01.res";
    ASSERT_EQ(pavo_downloadresource(5, url.c_str(), target.c_str()), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(read_file(target), sim_file("skin-2026.01.res"));

    EXPECT_EQ(only_request().body, "");
    ASSERT_NE(successful_result(DATATYPE_NORMAL), nullptr);
}

// A missing file, an unreachable address and null arguments: failure, no file, the last
// result kept; null arguments send nothing at all.
TEST_F(Maintenance, FailedDownloadWritesNoFileAndStoresNothing)
{
    tpavo_result* marker = store_marker_result();
    const std::string missing = sim_->base_url() + "/files/no-such-file";
    const std::string target = workdir_->file("x");
    const char* const cases[][2] = {{missing.c_str(), target.c_str()},
                                    {nullptr, target.c_str()}};
    for (const auto& [url, path] : cases) {
        SCOPED_TRACE(url ? url : "(null url)");
        EXPECT_EQ(pavo_downloadresource(5, url, path), PAVO_STATUS_FAILURE);
        EXPECT_FALSE(file_exists(target));
        EXPECT_EQ(pavo_getresult(), marker);
    }
    EXPECT_EQ(sim_->requests().size(), 1u) << "only the missing file was asked for";
}

}  // namespace
}  // namespace pavo_test
