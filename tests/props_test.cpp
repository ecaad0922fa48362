// Session property store: the name table, its access rules, bounded reads,
// and korix.conf through pavo_readconfig/pavo_writeconfig.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "service/pavo_global.h"
#include "service/pavo_inifile.h"
#include "service/pavo_service_session.h"
#include "support/library_start.h"
#include "support/temp_dir.h"

namespace {

std::string read_prop(const char* name, int size = PAVO_PROP_SIZE)
{
    std::string buffer(static_cast<size_t>(size), 'X');
    pavo_readprop(name, &buffer[0], size);
    return buffer.c_str();
}

class PropsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(pavo_test::start_library(dir_.path(), "1234567", "ABCDEFG", "123456789ABCD",
                                           "chip", "client", 6, "/perpetual", "/scratch"),
                  PAVO_STATUS_SUCCESS);
    }
    void TearDown() override { pavo_cleanup(); }

    std::string config_path() const { return dir_.file("korix.conf"); }

    TempDir dir_;
};

TEST_F(PropsTest, ReadOnlyNamesShowStartUpValues)
{
    const struct {
        const char* name;
        std::string value;
    } rows[] = {
        {"pavoversion", "1.0.0.1"},
        {"ipversion", "6"},
        {"device_id", "123456789ABCD"},
        {"clientprofile", "client"},
        {"workdirectory", dir_.path()},
        {"tmpdirectory", "/scratch"},
        {"TVID", ""},
        {"nosuchname", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read_prop(row.name), row.value) << row.name;
        EXPECT_EQ(pavo_writeprop(row.name, "x"), 0) << row.name;
        EXPECT_EQ(read_prop(row.name), row.value) << row.name << " is read-only";
    }
}

TEST_F(PropsTest, WritableNamesTakeTheirOwnValue)
{
    const char* const names[] = {
        "openurl",           "userid",
        "usertoken",         "userlevel",
        "actexpireddate",    "serverauthenticator",
        "usergroup",         "tvid",
        "tvprofile",         "bizfield",
        "aaasrvaddress",     "aaasrvaddress2",
        "epgsrvaddress",     "epgsrvaddress2",
        "playsrvaddress",    "playsrvaddress2",
        "upgradesrvaddress", "upgradesrvaddress2",
        "drmsrvaddress",     "drmsrvaddress2",
        "imgsrvaddress",     "serviceaddress",
    };
    for (const char* name : names)
        EXPECT_EQ(pavo_writeprop(name, (std::string("v-") + name).c_str()), 0);
    // Read back after all writes, so that two names sharing a field would show.
    for (const char* name : names)
        EXPECT_EQ(read_prop(name), std::string("v-") + name);
    // A new start forgets the session's values.
    pavo_cleanup();
    SetUp();
    for (const char* name : names)
        EXPECT_NE(read_prop(name), std::string("v-") + name) << name << " survived a new start";
}

TEST_F(PropsTest, ReadsAreCutToBufferSizeMinusOneAndWritesToTheField)
{
    char buffer[16];
    std::memset(buffer, 'X', sizeof buffer);
    pavo_readprop("tvid", buffer, 10);
    EXPECT_STREQ(buffer, "000123456") << "the TVID's first nine characters";
    EXPECT_EQ(buffer[10], 'X') << "nothing past buffersize is touched";

    std::memset(buffer, 'X', sizeof buffer);
    pavo_readprop("nosuchname", buffer, 12);
    EXPECT_EQ(std::string(buffer, 13), std::string(12, '\0') + "X") << "zero-filled";
    pavo_writeprop("serviceaddress", std::string(300, 'a').c_str());
    EXPECT_EQ(read_prop("serviceaddress", 512), std::string(255, 'a'));
}

// A value written to any section also sets the writable property of that
// name at once; other keys touch only the file.
TEST_F(PropsTest, WriteConfigSetsSameNamedPropertyWhateverTheSection)
{
    EXPECT_EQ(pavo_writeconfig("system", "aaasrvaddress", "10.0.0.1:8080"), 0);
    EXPECT_EQ(read_file(config_path()), "[system]\naaasrvaddress=10.0.0.1:8080\n");
    EXPECT_EQ(read_prop("aaasrvaddress"), "10.0.0.1:8080");
    EXPECT_EQ(pavo_writeconfig("custom", "mykey", "v"), 0);
    EXPECT_EQ(read_file(config_path()),
              "[system]\naaasrvaddress=10.0.0.1:8080\n\n[custom]\nmykey=v\n");
    EXPECT_EQ(read_prop("mykey"), "");
    char buffer[16];
    EXPECT_STREQ(pavo_readconfig("system", "aaasrvaddress", buffer, sizeof buffer),
                 "10.0.0.1:8080");
    EXPECT_STREQ(pavo_readconfig("custom", "mykey", buffer, sizeof buffer), "v");
}

// safeconfig 1 (the default): a value that would break its line or be cut is
// refused with -1 and one log line without the value, file and property
// untouched; 0 writes it in place as documented, injected lines and all.
TEST_F(PropsTest, WriteConfigRefusesWhatTheFileCannotKeepUnlessSafeconfigIsZero)
{
    EXPECT_EQ(read_prop("safeconfig"), "1");
    const std::string before = "[system]\nuserid=u0\n";
    // The value, and whether safeconfig 1 refuses it (the INI tests hold every other kind).
    const std::pair<std::string, bool> rows[] = {{"u1\r\nstalltimeout=0", true},
                                                 {std::string(70000, 'v'), true},
                                                 {"u7", false}};
    for (const char* safeconfig : {"1", "0"}) {
        pavo_writeprop("safeconfig", safeconfig);
        for (const auto& [value, refusable] : rows) {
            SCOPED_TRACE(value.substr(0, 20) + ", safeconfig " + safeconfig);
            const bool refused = refusable && safeconfig[0] == '1';
            write_file(config_path(), before);
            pavo_writeprop("userid", "u0");
            testing::internal::CaptureStdout();
            EXPECT_EQ(pavo_writeconfig("system", "userid", value.c_str()), refused ? -1 : 0);
            const std::string console = testing::internal::GetCapturedStdout();
            const size_t line = console.find("korix.conf unchanged, entry refused:userid\r\n");
            EXPECT_EQ(line != std::string::npos, refused);
            EXPECT_TRUE(!refused || console.find(value) == std::string::npos) << "value logged";
            const std::string written = "[system]\nuserid=" + value + "\n";
            EXPECT_EQ(read_file(config_path()),
                      refused ? before : written.substr(0, PAVO_INI_TEXT_LIMIT));
            EXPECT_EQ(read_prop("userid"), refused ? "u0" : value.substr(0, PAVO_PROP_SIZE - 1));
        }
    }
}

}  // namespace
