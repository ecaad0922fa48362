// Session property store: the name table, its access rules, bounded reads,
// literal writes, and korix.conf through pavo_readconfig/pavo_writeconfig.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "service/pavo_global.h"
#include "service/pavo_service_props.h"
#include "support/temp_dir.h"

namespace {

const char kTvid[] = "0001234567000ABCDEFGV6000123456789ABCD";

std::string read_prop(const char* name, int size = PAVO_PROP_SIZE)
{
    std::string buffer(static_cast<size_t>(size), 'X');
    pavo_readprop(name, &buffer[0], size);
    return buffer.c_str();
}

class PropsTest : public ::testing::Test {
protected:
    void SetUp() override { start(6); }
    void TearDown() override { pavo_cleanup(); }

    void start(int ipversion)
    {
        pavo_init_param param = {};
        param.oem_name = const_cast<char*>("1234567");
        param.terminal_type = const_cast<char*>("ABCDEFG");
        param.device_id = const_cast<char*>("123456789ABCD");
        param.chipprofile = const_cast<char*>("chip");
        param.clientprofile = const_cast<char*>("client");
        param.workdirectory = const_cast<char*>(dir_.path().c_str());
        param.perpetualdirectory = const_cast<char*>("/perpetual");
        param.tmpdirectory = const_cast<char*>("/scratch");
        param.ipversion = ipversion;
        ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    }

    std::string config_path() const { return dir_.file("korix.conf"); }

    TempDir dir_;
};

struct NamedValue {
    const char* name;
    std::string value;
};

TEST_F(PropsTest, ReadOnlyNamesShowStartUpValues)
{
    const NamedValue rows[] = {
        {"pavoversion", "1.0.0.1"},
        {"ipversion", "6"},
        {"oem_name", "1234567"},
        {"terminal_type", "ABCDEFG"},
        {"device_id", "123456789ABCD"},
        {"chipprofile", "chip"},
        {"clientprofile", "client"},
        {"workdirectory", dir_.path()},
        {"perpetualdirectory", "/perpetual"},
        {"tmpdirectory", "/scratch"},
    };
    for (const NamedValue& row : rows) {
        EXPECT_EQ(read_prop(row.name), row.value) << row.name;
        EXPECT_EQ(pavo_writeprop(row.name, "x"), 0) << row.name;
        EXPECT_EQ(read_prop(row.name), row.value) << row.name << " is read-only";
    }
}

TEST_F(PropsTest, WritableNamesTakeTheirOwnValue)
{
    const char* const names[] = {
        "openurl",        "userid",         "usertoken",          "userlevel",
        "actexpireddate", "serverauthenticator", "usergroup",     "tvid",
        "tvprofile",      "bizfield",       "aaasrvaddress",      "aaasrvaddress2",
        "epgsrvaddress",  "epgsrvaddress2", "playsrvaddress",     "playsrvaddress2",
        "upgradesrvaddress", "upgradesrvaddress2", "drmsrvaddress", "drmsrvaddress2",
        "imgsrvaddress",  "serviceaddress",
    };
    for (const char* name : names)
        EXPECT_EQ(pavo_writeprop(name, (std::string("v-") + name).c_str()), 0);
    // Read back after all writes, so that two names sharing a field would show.
    for (const char* name : names)
        EXPECT_EQ(read_prop(name), std::string("v-") + name);
}

TEST_F(PropsTest, UnknownOrMisspeltNamesReadEmpty)
{
    for (const char* name : {"nosuchname", "TVID", "tvid ", "korixprofile", "ip",
                             "logdirectory", "state", ""}) {
        EXPECT_EQ(read_prop(name), "") << name;
        EXPECT_EQ(pavo_writeprop(name, "x"), 0);
    }
    EXPECT_EQ(read_prop(nullptr), "");
}

TEST_F(PropsTest, ReadZeroFillsAndCutsToBufferSizeMinusOne)
{
    char buffer[16];
    std::memset(buffer, 'X', sizeof buffer);
    pavo_readprop("tvid", buffer, 10);
    EXPECT_STREQ(buffer, std::string(kTvid, 9).c_str());
    EXPECT_EQ(buffer[10], 'X') << "nothing past buffersize is touched";

    std::memset(buffer, 'X', sizeof buffer);
    pavo_readprop("nosuchname", buffer, 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(buffer[i], '\0') << i;
    EXPECT_EQ(buffer[12], 'X');
    EXPECT_EQ(read_prop("ipversion", 1), "");
}

TEST_F(PropsTest, IpVersionFollowsTheLastStart)
{
    pavo_cleanup();
    start(4);
    EXPECT_EQ(read_prop("ipversion"), "4");
}

TEST_F(PropsTest, WrittenValuesAreTextNotFormats)
{
    pavo_writeprop("userlevel", "50%%");
    EXPECT_EQ(read_prop("userlevel"), "50%");
    pavo_writeprop("userlevel", "%s%n%d");
    EXPECT_EQ(read_prop("userlevel"), "%s%n%d");
    pavo_setusertoken("a%%b%s");
    EXPECT_STREQ(pavo_getusertoken(), "a%b%s");
}

TEST_F(PropsTest, NullValueChangesNothing)
{
    pavo_writeprop("userid", "kept");
    EXPECT_EQ(pavo_writeprop("userid", nullptr), 0);
    pavo_setusertoken("token");
    pavo_setusertoken(nullptr);
    EXPECT_EQ(read_prop("userid"), "kept");
    EXPECT_STREQ(pavo_getusertoken(), "token");
}

TEST_F(PropsTest, LongValueIsCutToTheField)
{
    std::string value(300, 'a');
    pavo_writeprop("serviceaddress", value.c_str());
    EXPECT_EQ(read_prop("serviceaddress", 512), std::string(255, 'a'));
}

TEST_F(PropsTest, UserTokenIsTheFieldItself)
{
    char* token = pavo_getusertoken();
    EXPECT_EQ(token, pavo_getusertoken());
    pavo_writeprop("usertoken", "T-1");
    EXPECT_STREQ(token, "T-1");
}

TEST_F(PropsTest, ConfigPathIsUnderTheWorkDirectoryAndBounded)
{
    char path[PAVO_PROP_SIZE];
    EXPECT_EQ(std::string(pavo_inner_configpath(path, sizeof path)), config_path());

    std::string deep = "/" + std::string(300, 'd');
    pavo_cleanup();
    pavo_init_param param = {};
    param.workdirectory = const_cast<char*>(deep.c_str());
    ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(std::string(pavo_inner_configpath(path, sizeof path)), deep.substr(0, 255));
}

TEST_F(PropsTest, WriteConfigToSystemSetsPropertyAtOnce)
{
    EXPECT_EQ(pavo_writeconfig("system", "aaasrvaddress", "10.0.0.1:8080"), 0);
    EXPECT_EQ(read_file(config_path()), "[system]\naaasrvaddress=10.0.0.1:8080\n");
    EXPECT_EQ(read_prop("aaasrvaddress"), "10.0.0.1:8080");
    char buffer[64];
    EXPECT_STREQ(pavo_readconfig("system", "aaasrvaddress", buffer, sizeof buffer),
                 "10.0.0.1:8080");
}

TEST_F(PropsTest, WriteConfigToOtherSectionTouchesOnlyTheFile)
{
    pavo_writeconfig("system", "userid", "42");
    EXPECT_EQ(pavo_writeconfig("custom", "mykey", "v"), 0);
    EXPECT_EQ(read_file(config_path()), "[system]\nuserid=42\n\n[custom]\nmykey=v\n");
    EXPECT_EQ(read_prop("mykey"), "");
    char buffer[8];
    EXPECT_STREQ(pavo_readconfig("custom", "mykey", buffer, sizeof buffer), "v");
}

TEST_F(PropsTest, WriteConfigSetsSameNamedPropertyWhateverTheSection)
{
    pavo_writeconfig("custom", "userlevel", "gold");
    EXPECT_EQ(read_prop("userlevel"), "gold");
    EXPECT_EQ(read_file(config_path()), "[custom]\nuserlevel=gold\n");
}

TEST_F(PropsTest, WriteConfigWithoutNameOrValueWritesNothing)
{
    EXPECT_EQ(pavo_writeconfig("system", nullptr, "v"), 0);
    EXPECT_EQ(pavo_writeconfig("system", "userid", nullptr), 0);
    EXPECT_FALSE(file_exists(config_path()));
}

TEST_F(PropsTest, ReadConfigOfMissingKeyIsEmpty)
{
    char buffer[8];
    std::memset(buffer, 'X', sizeof buffer);
    EXPECT_EQ(pavo_readconfig("system", "nokey", buffer, sizeof buffer), buffer);
    for (char c : buffer)
        EXPECT_EQ(c, '\0');
}

TEST_F(PropsTest, SystemValuesWrittenToConfigReturnAtNextStart)
{
    pavo_writeconfig("system", "userid", "u-7");
    pavo_writeconfig("system", "bizfield", "biz");
    pavo_cleanup();
    start(6);
    EXPECT_EQ(read_prop("userid"), "u-7");
    EXPECT_EQ(read_prop("bizfield"), "biz");
}

}  // namespace
