// Runs the example terminal application (examples/pavo_terminal.cpp) against the platform
// simulator, as `tools/pavo-dev demo` does: the whole session in both modes, and a
// platform refusal turning into a failing exit status.
#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "service_fixture.h"

#ifndef PAVO_TERMINAL_PATH
#define PAVO_TERMINAL_PATH ""  // the example is not built
#endif
#ifndef PAVO_SYNC_PATH
#define PAVO_SYNC_PATH ""
#define PAVO_ASYNC_PATH ""
#define PAVO_README_PATH ""
#endif

namespace pavo_test {
namespace {

struct ExampleRun {
    int exit_status = -1;
    std::string output;
};

class ExampleSession : public SimSuite {
protected:
    void SetUp() override
    {
        if (*PAVO_TERMINAL_PATH == '\0')
            GTEST_SKIP() << "the example is not built";
        SimSuite::SetUp();
    }

    // The example's exit status and everything it printed; bounded by timeout(1).
    ExampleRun run_example(const std::string& extra)
    {
        ExampleRun run;
        const std::string command = std::string("timeout 60 ") + PAVO_TERMINAL_PATH +
                                    " --platform " + sim_->base_url() + " --workdir " +
                                    workdir_->path() + " " + extra + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr)
            return run;
        char buffer[4096];
        size_t got;
        while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
            run.output.append(buffer, got);
        int status = pclose(pipe);
        run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return run;
    }

    std::unique_ptr<TempDir> workdir_ = std::make_unique<TempDir>();
};

struct ExampleCase {
    const char* name;
    const char* extra;
    bool login_fault;  // the platform answers the login with HTTP 503
    int exit_status;
    std::vector<std::string> shown;
    std::vector<std::string> not_shown;
};

// A login refusal fails the run in both modes, but the library is still stopped.
const ExampleCase kExampleCases[] = {
    {"sync",
     "",
     false,
     0,
     {"26 steps run, all passed", "related to P1001 (datatype 9)", "matches FileHash",
      "server time at login: "},
     {}},
    {"async",
     "--async",
     false,
     0,
     {"function mode: asynchronous", "26 steps run, all passed", "related to P1001 (datatype 11)",
      "event download, id ", "matches FileHash"},
     {}},
    {"sync refused",
     "",
     true,
     1,
     {"step \"login\" failed", "== stop library"},
     {"== category list"}},
};

TEST_F(ExampleSession, RunsInBothModesAndFailsOnAPlatformRefusal)
{
    for (const ExampleCase& c : kExampleCases) {
        SCOPED_TRACE(c.name);
        sim_->reset();
        if (c.login_fault)
            sim_->set_fault("/Service/Login", 503);
        workdir_ = std::make_unique<TempDir>();  // no account stored by an earlier run
        ExampleRun run = run_example(c.extra);
        EXPECT_EQ(run.exit_status, c.exit_status) << run.output;
        for (const std::string& text : c.shown)
            EXPECT_NE(run.output.find(text), std::string::npos) << text << "\n" << run.output;
        for (const std::string& text : c.not_shown)
            EXPECT_EQ(run.output.find(text), std::string::npos) << text << "\n" << run.output;
    }
}

// The guide's programs and the README's, with the application profile: on success only their
// own lines on stdout; on a failure exit 1, nothing on stdout and one line on stderr.
TEST_F(ExampleSession, SmallProgramsPrintOnlyTheirOwnLinesAndFailWithOne)
{
    if (*PAVO_README_PATH == '\0')
        GTEST_SKIP() << "the examples are not built";
    const std::string refused = "http://127.0.0.1:" + std::to_string(refused_port()) + "/Open";
    struct Case {
        const char* program;
        bool reachable;
        int exit_status;
        const char* out_start;  // stdout begins with this
        const char* err;        // stderr holds only this line's start
    } cases[] = {
        {PAVO_SYNC_PATH, true, 0, "logged in as u1001\ncategory ", ""},
        {PAVO_ASYNC_PATH, true, 0, "logged in as u1001\ncategory ", ""},
        {PAVO_README_PATH, true, 0, "logged in as u1001\n", ""},
        {PAVO_SYNC_PATH, false, 1, "", "open: transfer to "},
        {PAVO_ASYNC_PATH, false, 1, "",
         "event 4 failed: -9001 the transfer failed: no HTTP answer: Couldn't connect"},
        {PAVO_README_PATH, false, 1, "", "login failed: transfer to "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.program) + (c.reachable ? "" : " refused"));
        TempDir dir;
        const std::string url = c.reachable ? sim_->open_url() : refused;
        write_korix_conf(dir.path(), {{"openurl", url}});
        const std::string command =
            std::string("timeout 60 ") + c.program + " " + dir.path() +
            (c.program == std::string(PAVO_README_PATH) ? " " + url : "") + " >" +
            dir.file("out") + " 2>" + dir.file("err");
        int status = system(command.c_str());
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, c.exit_status);
        EXPECT_EQ(read_file(dir.file("out")).rfind(c.out_start, 0), 0u)
            << read_file(dir.file("out"));
        std::string err = read_file(dir.file("err"));
        EXPECT_EQ(err.rfind(c.err, 0), 0u) << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), c.err[0] != '\0' ? 1 : 0) << err;
    }
}

}  // namespace
}  // namespace pavo_test
