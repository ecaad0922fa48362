/*
 * pavo_cli.h - the `pavo` command: one row per subcommand (its request, its
 * arguments, its help and the printer of its result) in pavo_cli_commands.cpp,
 * run by the one frame in pavo_cli.cpp.
 */
#ifndef PAVO_CLI_H
#define PAVO_CLI_H

#include <stdio.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "pavo.h"

// The subcommand's arguments after defaults are filled in, in row order.
struct CliArgs {
    std::vector<std::string> values;
    const char* text(size_t i) const { return values[i].c_str(); }
    int number(size_t i) const;  // a usage error (exit 3) unless the whole text is a number
};

using CliRequest = pavo_status_t (*)(unsigned eventid, const CliArgs& args);
// Turns the request's result (null where the request leaves none) into JSON.
using CliPrinter = nlohmann::json (*)(const tpavo_result* result, const CliArgs& args);

enum CliNeed { kNeedNothing, kNeedOpened, kNeedLogined };

enum CliFlags {
    kNoResult = 1,  // the request leaves no last result (the status report)
};

struct CliCommand {
    const char* name;
    CliRequest request;  // null: the printer alone answers (status, time)
    // "NAME" is required, "NAME=default" optional; in this order on the command line.
    std::vector<const char*> args;
    const char* help;
    CliPrinter printer;
    CliNeed need;
    int flags;
};

const std::vector<CliCommand>& cli_commands();
// The download row's request, which "-" as FILE sends to standard output.
CliRequest cli_download_request();
// `--stats`: the library's request statistics as one JSON line.
void cli_print_stats(FILE* out);
const char* cli_state_name(tpavo_state state);

// The download meter on standard error, when that is a terminal.
class CliProgress {
public:
    explicit CliProgress(const std::string& target);
    ~CliProgress();
    void finish(const std::string& target);  // its final size, and a newline
    void stop();                             // clears the line

private:
    struct Meter;
    double elapsed() const;
    std::string pattern_;
    std::chrono::steady_clock::time_point start_;
    std::unique_ptr<Meter> meter_;
};

#endif
