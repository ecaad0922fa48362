// The pavo command against the platform simulator: every subcommand from a fresh process in
// one work directory, its JSON read back and checked against the simulator's data files,
// every exit code with its one line on stderr.
#include "support/platform_sim.h"

#include <gtest/gtest.h>

#ifdef PAVO_CLI_PATH
#include <stdio.h>
#include <sys/wait.h>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <string>

namespace pavo_test {
namespace {

struct CliCase {
    const char* args;  // {sim} is the simulator's address, {dir} the work directory
    int exit_code;
    const char* pointer;  // JSON pointer of a value or of a list of records
    const char* member;   // the records' member compared, or "" for the value itself
    const char* xpath;    // catalogue.xml nodes whose `attribute` gives the expected values,
    const char* attribute;
    const char* literal;  // or the expected text when xpath is empty
    const char* fault;    // a service path answering HTTP 500 during the call
};

std::string replace_all(std::string text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
        text.replace(at, from.size(), to);
    return text;
}

std::string joined(const nlohmann::json& value, const std::string& member)
{
    if (!value.is_array())
        return value.is_string() ? value.get<std::string>() : value.dump();
    std::string out;
    for (const auto& record : value)
        out += (out.empty() ? "" : " ") + joined(record.at(member), "");
    return out;
}

TEST(PavoCli, EverySubcommandAnswersFromTheSimulatorsData)
{
    PlatformSim sim;
    TempDir dir;
    pugi::xml_document catalogue;
    ASSERT_TRUE(catalogue.load_file(PAVO_SIM_DATA "/catalogue.xml"));
    const CliCase cases[] = {
        {"status", 0, "/data/state", "", "", "", "inited", ""},
        {"items C0101", 3, "", "", "", "", "", ""},  // no account open yet
        {"--platform {sim} open", 0, "/data/userid", "", "", "", kSimUserId, ""},
        {"categories", 0, "/data", "code", "/Catalogue/Category", "Code", "", ""},
        {"categories C01", 0, "/data", "name", "//Category[@Code='C01']/Category", "Name", "",
         ""},
        {"items C0101", 0, "/data", "code", "//Category[@Code='C0101']/Item", "Code", "", ""},
        {"--async items C0101 1 50 1", 0, "/data/0/program/name", "", "//Program[@Code='P1001']",
         "Name", "", ""},
        {"detail C0101 P1003", 0, "/data/program/director", "", "//Program[@Code='P1003']",
         "Director", "", ""},
        {"related P1001", 0, "/data", "code", "//Program[@Code='P1001']", "Related", "", ""},
        {"schedules CH02", 0, "/data", "starttime", "//Channel[@Code='CH02']/Schedule",
         "StartTime", "", ""},
        {"play C0101 P1001 P1001-SD", 0, "/data/playurl", "",
         "//VideoClip[@VideoCode='P1001-SD']", "URL", "", ""},
        {"service weather city=Harbour", 0, "/resultcode", "", "", "", "0", ""},
        {"recharge V500", 0, "/data/validpoints", "", "", "", "1000", ""},
        {"recharge V500", 1, "/resultcode", "", "", "", "-107", ""},  // a voucher serves once
        {"upgrade-os", 0, "/data/lastedversion", "", "", "", "2.1.0", ""},
        {"--async upgrade-res", 0, "/data/lastedversion", "", "", "", "2026.01", ""},
        {"download {sim}/files/skin-2026.01.res {dir}/skin.res", 0, "/httpretcode", "", "", "",
         "200", ""},
        {"report", 0, "", "", "", "", "", ""},
        {"time", 0, "/data/servertime", "", "", "", "", ""},
        {"logout", 0, "/resultcode", "", "", "", "0", ""},
        {"categories", 2, "", "", "", "", "", "/Service/QueryCategory"},
        {"frob", 3, "", "", "", "", "", ""},
        {"detail C0101", 3, "", "", "", "", "", ""},
        // The conventions of curl and git: --version, --opt=value, "--", negative numbers, a
        // work directory made when missing, a page that is not a number, async exit codes.
        {"--version", 0, "", "", "", "", "", ""},
        {"--workdir={dir}/new/dir status", 0, "/data/state", "", "", "", "inited", ""},
        {"categories C01 1 -5", 0, "/resultcode", "", "", "", "0", ""},
        {"-- categories -C01", 1, "/resultcode", "", "", "", "-201", ""},
        {"items C0101 first", 3, "", "", "", "", "", ""},
        {"--async categories", 2, "", "", "", "", "", "/Service/QueryCategory"},
    };
    for (const CliCase& c : cases) {
        SCOPED_TRACE(c.args);
        if (c.fault[0] != '\0')
            sim.set_fault(c.fault, 500);
        std::string command = std::string(PAVO_CLI_PATH) + " --json --workdir {dir} " +
                              replace_all(c.args, "{sim}", sim.base_url()) + " 2>{dir}/stderr";
        FILE* pipe = popen(replace_all(command, "{dir}", dir.path()).c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string out;
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            out.append(buffer, n);
        int status = pclose(pipe);
        sim.clear_faults();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), c.exit_code) << out;
        std::string err = read_file(dir.file("stderr"));
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), c.exit_code != 0 ? 1 : 0) << err;
        if (c.pointer[0] == '\0')
            continue;
        const auto value = nlohmann::json::parse(out).at(nlohmann::json::json_pointer(c.pointer));
        std::string expected = c.literal;
        for (const auto& node : catalogue.select_nodes(c.xpath[0] ? c.xpath : "/none"))
            expected += (expected.empty() ? "" : " ") +
                        std::string(node.node().attribute(c.attribute).value());
        if (c.xpath[0] != '\0' || expected[0] != '\0')
            EXPECT_EQ(joined(value, c.member), expected);
        else
            EXPECT_GT(value.get<long long>(), 0);
    }
    EXPECT_EQ(read_file(dir.file("skin.res")),
              read_file(PAVO_SIM_DATA "/files/skin-2026.01.res"));
    std::string to_stdout = std::string(PAVO_CLI_PATH) + " --workdir " + dir.path() +
                            " download " + sim.base_url() + "/files/skin-2026.01.res - >" +
                            dir.file("piped");
    EXPECT_EQ(system(to_stdout.c_str()), 0);
    EXPECT_EQ(read_file(dir.file("piped")), read_file(dir.file("skin.res")));
    // On a terminal a download ends its meter with the file's size; off one, stderr stayed empty
    // above.
    const std::string tty = "script -qec '" + std::string(PAVO_CLI_PATH) + " --workdir " +
                            dir.path() + " download " + sim.base_url() +
                            "/files/skin-2026.01.res " + dir.file("tty.res") +
                            " >/dev/null' /dev/null >" + dir.file("tty");
    EXPECT_EQ(system(tty.c_str()), 0);
    EXPECT_NE(read_file(dir.file("tty"))
                  .find("download: " + std::to_string(read_file(dir.file("skin.res")).size()) +
                        " bytes"),
              std::string::npos);
    // --stats: the command's own request counted, under the documented names, on stderr.
    const std::string stats = std::string(PAVO_CLI_PATH) + " --stats --workdir " + dir.path() +
                              " --platform " + sim.base_url() + " open >/dev/null 2>" +
                              dir.file("stats");
    ASSERT_EQ(system(stats.c_str()), 0);
    const auto json = nlohmann::json::parse(read_file(dir.file("stats")));
    EXPECT_EQ(json.at("/kinds/open/requests"_json_pointer), 1);
    EXPECT_EQ(json.at("/kinds/open/successes"_json_pointer), 1);
    EXPECT_EQ(json.at("samples"), 1);
}

#ifdef PAVO_EXAMPLE_DIR
// Both programs open (or find open) the simulator's account and list its top-level categories.
TEST(PavoCli, GuideProgramsRunInBothModes)
{
    PlatformSim sim;
    for (const char* program : {"pavo-sync", "pavo-async"}) {
        SCOPED_TRACE(program);
        SimWorkDir dir(sim);
        for (int run = 0; run < 2; ++run) {  // the second finds the account in korix.conf
            std::string command = std::string(PAVO_EXAMPLE_DIR "/") + program + " " + dir.path() +
                                  " > " + dir.file("out") + " 2>&1";
            EXPECT_EQ(system(command.c_str()), 0) << read_file(dir.file("out"));
            EXPECT_NE(read_file(dir.file("out")).find("category C04 Kids"), std::string::npos);
        }
    }
}
#endif

}  // namespace
}  // namespace pavo_test
#endif
