// Runs the example terminal application (examples/pavo_terminal.cpp) against the platform
// simulator, as `tools/pavo-dev demo` does: the whole session in both modes, and a
// platform refusal turning into a failing exit status.
#include <stdio.h>
#include <sys/wait.h>

#include <memory>
#include <string>
#include <vector>

#include "service_fixture.h"

#ifndef PAVO_TERMINAL_PATH
#define PAVO_TERMINAL_PATH ""  // the example is not built
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
    {"sync", "", false, 0,
     {"26 steps run, all passed", "related to P1001 (datatype 9)", "matches FileHash",
      "server time at login: "},
     {}},
    {"async", "--async", false, 0,
     {"function mode: asynchronous", "26 steps run, all passed",
      "related to P1001 (datatype 11)", "event download, id ", "matches FileHash"},
     {}},
    {"sync refused", "", true, 1, {"step \"login\" failed", "== stop library"},
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

}  // namespace
}  // namespace pavo_test
