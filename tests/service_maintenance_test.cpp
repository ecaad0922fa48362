// Tests of the maintenance requests against the platform simulator: the upgrade checks and
// the status report (URLs, bodies, refusals, the report leaving the last result alone),
// resource downloads in any state, and the server clock learnt at login.
#include <sys/time.h>

#include <functional>
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
    EXPECT_EQ(tv.tv_usec, 777);
    EXPECT_EQ(pavo_get_time(nullptr), -1);
}

struct MaintenanceCase {
    const char* name;
    std::function<pavo_status_t()> call;
    const char* path;
};

const MaintenanceCase kMaintenanceCases[] = {
    {"upgradeos", [] { return pavo_upgradeos(21); }, "/Service/UpgradeOS"},
    {"upgraderes", [] { return pavo_upgraderes(22); }, "/Service/UpgradeRes"},
    {"statusreport", [] { return pavo_statusreport(23); }, "/Service/Report"},
};

TEST_F(Maintenance, RequestsPostTheSessionFourAndIpOnly)
{
    open_and_login();
    for (const MaintenanceCase& c : kMaintenanceCases) {
        SCOPED_TRACE(c.name);
        sim_->clear_requests();
        ASSERT_EQ(c.call(), PAVO_STATUS_SUCCESS);
        SimRequest request = only_request();
        EXPECT_EQ(request.path, c.path);
        FormPairs expected = session_four();
        expected.push_back(ip_pair());
        EXPECT_EQ(request.body, form_body(expected));
    }
}

TEST_F(Maintenance, RequestsBelowLoginAreRefusedWithNothingSent)
{
    tpavo_result* marker = store_marker_result();
    for (int opened = 0; opened < 2; ++opened) {
        if (opened) {
            open_account();
            marker = store_marker_result();
        }
        for (const MaintenanceCase& c : kMaintenanceCases)
            EXPECT_EQ(c.call(), PAVO_STATUS_FAILURE_NOTLOGINED) << c.name;
        EXPECT_EQ(pavo_getresult(), marker);
    }
    EXPECT_TRUE(sim_->requests().empty());
}

// The resource answer's parser tags it like the system one. The status report, answered
// or not, shows only in its return value: the upgrade answer stays the last result.
TEST_F(Maintenance, UpgradeAnswersOfferTheirFilesAndTheReportKeepsTheLastResult)
{
    open_and_login();
    ASSERT_EQ(pavo_upgraderes(1), PAVO_STATUS_SUCCESS);
    tpavo_result* result = successful_result(DATATYPE_UPGRADEOSRESULT);
    ASSERT_NE(result, nullptr);
    const tpavo_upgraderesresponse* res = result->data.upgraderesresponse;
    ASSERT_NE(res, nullptr);
    EXPECT_EQ(res->updatemode, 0);
    EXPECT_STREQ(res->lastedversion, "2026.01");
    EXPECT_EQ(std::string(res->fileurl), sim_->base_url() + "/files/skin-2026.01.res");

    ASSERT_EQ(pavo_upgradeos(2), PAVO_STATUS_SUCCESS);
    result = successful_result(DATATYPE_UPGRADEOSRESULT);
    ASSERT_NE(result, nullptr);
    const tpavo_upgradeosresponse* os = result->data.upgradeosresponse;
    ASSERT_NE(os, nullptr);
    EXPECT_EQ(os->upgrademode, 1);
    EXPECT_STREQ(os->lastedversion, "2.1.0");
    EXPECT_EQ(std::string(os->fileurl), sim_->base_url() + "/files/pavo-os-2.1.0.img");
    EXPECT_EQ(std::string(os->filehash), sha1_text(sim_file("pavo-os-2.1.0.img")));

    ASSERT_EQ(pavo_statusreport(3), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getresult(), result);
    sim_->set_fault("/Service/Report", 503);
    EXPECT_EQ(pavo_statusreport(4), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), result);
    EXPECT_EQ(result->datatype, DATATYPE_UPGRADEOSRESULT);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);
}

TEST_F(Maintenance, DownloadBeforeOpeningWritesTheExactBytes)
{
    ASSERT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    const std::string target = workdir_->file("skin.res");
    const std::string url = sim_->base_url() + "/files/skin-2026.01.res";
    ASSERT_EQ(pavo_downloadresource(5, url.c_str(), target.c_str()), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(read_file(target), sim_file("skin-2026.01.res"));

    SimRequest request = only_request();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/files/skin-2026.01.res");
    EXPECT_EQ(request.body, "");

    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->resultmsg, nullptr);
    EXPECT_EQ(result->datatype, DATATYPE_NORMAL);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
    EXPECT_EQ(result->httpretcode, 200);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    pavo_freeresult(result);
}

// A missing file, an unreachable address and null arguments: failure, no file, the last
// result kept; null arguments send nothing at all.
TEST_F(Maintenance, FailedDownloadWritesNoFileAndStoresNothing)
{
    tpavo_result* marker = store_marker_result();
    const std::string missing = sim_->base_url() + "/files/no-such-file";
    const std::string target = workdir_->file("x");
    const char* const cases[][2] = {{missing.c_str(), target.c_str()},
                                    {"http://127.0.0.1:1/files/x", target.c_str()},
                                    {nullptr, target.c_str()},
                                    {missing.c_str(), nullptr}};
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
