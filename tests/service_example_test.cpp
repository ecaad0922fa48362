// Runs the example terminal application (examples/pavo_terminal.cpp) against the platform
// simulator, as `tools/pavo-dev demo` does: the whole session in both modes, a platform
// refusal turning into a failing exit status, and a second run restoring the account.
#include <stdio.h>
#include <sys/wait.h>

#include <string>

#include "service_fixture.h"

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
#ifndef PAVO_TERMINAL_PATH
        GTEST_SKIP() << "the example is not built";
#endif
        SimSuite::SetUp();
    }

    // The example's exit status and everything it printed; bounded by timeout(1).
    ExampleRun run_example(const std::string& extra)
    {
        ExampleRun run;
#ifdef PAVO_TERMINAL_PATH
        const std::string command = std::string("timeout 60 ") + PAVO_TERMINAL_PATH +
                                    " --platform " + sim_->base_url() + " --workdir " +
                                    workdir_.path() + " " + extra + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr)
            return run;
        char buffer[4096];
        size_t got;
        while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
            run.output.append(buffer, got);
        int status = pclose(pipe);
        run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
        (void)extra;
#endif
        return run;
    }

    static bool contains(const ExampleRun& run, const std::string& text)
    {
        return run.output.find(text) != std::string::npos;
    }

    TempDir workdir_;
};

TEST_F(ExampleSession, WholeSessionPassesSynchronously)
{
    ExampleRun run = run_example("");
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_TRUE(contains(run, "26 steps run, all passed")) << run.output;
    EXPECT_TRUE(contains(run, "related to P1001 (datatype 9)")) << run.output;
    EXPECT_TRUE(contains(run, "matches FileHash")) << run.output;
    EXPECT_TRUE(contains(run, "server time at login: ")) << run.output;
}

TEST_F(ExampleSession, WholeSessionPassesAsynchronously)
{
    ExampleRun run = run_example("--async");
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_TRUE(contains(run, "function mode: asynchronous")) << run.output;
    EXPECT_TRUE(contains(run, "26 steps run, all passed")) << run.output;
    EXPECT_TRUE(contains(run, "related to P1001 (datatype 11)")) << run.output;
    EXPECT_TRUE(contains(run, "event download, id ")) << run.output;
    EXPECT_TRUE(contains(run, "matches FileHash")) << run.output;
}

TEST_F(ExampleSession, PlatformRefusalFailsTheRunButStillShutsDown)
{
    sim_->set_fault("/Service/Login", 503);
    ExampleRun run = run_example("");
    EXPECT_EQ(run.exit_status, 1) << run.output;
    EXPECT_TRUE(contains(run, "step \"login\" failed")) << run.output;
    EXPECT_FALSE(contains(run, "== category list")) << run.output;
    EXPECT_TRUE(contains(run, "== stop library")) << run.output;
}

TEST_F(ExampleSession, HttpErrorFailsTheAsynchronousRunToo)
{
    sim_->set_fault("/Service/Login", 503);
    ExampleRun run = run_example("--async");
    EXPECT_EQ(run.exit_status, 1) << run.output;
    EXPECT_TRUE(contains(run, "step \"login\" failed")) << run.output;
}

TEST_F(ExampleSession, SecondRunFindsTheAccountStoredByTheFirst)
{
    ASSERT_EQ(run_example("").exit_status, 0);
    ExampleRun second = run_example("");
    EXPECT_EQ(second.exit_status, 0) << second.output;
    EXPECT_TRUE(contains(second, "stored account u1001: state opened")) << second.output;
}

}  // namespace
}  // namespace pavo_test
