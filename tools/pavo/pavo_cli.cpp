/*
 * pavo_cli.cpp - the frame of the `pavo` command: global options (curl's and
 * git's conventions), start-up in the work directory with the application
 * profile, the login the command needs, the request in either mode, the
 * output (JSON or "key: value" lines) and the exit code.
 */
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

#include "pavo_cli.h"

namespace {

enum Exit { kSuccess = 0, kRefused = 1, kTransfer = 2, kUsage = 3 };

// With the application profile the library writes nothing to the console:
// standard output is the command's own.
FILE* g_out = stdout;

struct Options {
    std::string workdir;
    std::string platform;
    std::string oem = "PAVO";
    std::string terminal = "STB100";
    std::string device = "SIM0000001";
    bool async = false;
    bool json = false;
    bool verbose = false;
    bool help = false;
    bool version = false;
    bool stats = false;
    std::vector<std::string> words;  // the subcommand and its arguments
};

[[noreturn]] void fail(int code, const std::string& message)
{
    fprintf(stderr, "pavo: %s\n", message.c_str());
    exit(code);
}

std::string usage_line(const CliCommand& command)
{
    std::string line = std::string("pavo [options] ") + command.name;
    for (const char* arg : command.args) {
        const char* equals = strchr(arg, '=');
        line += equals == nullptr ? " " + std::string(arg)
                                  : " [" + std::string(arg, equals - arg) + "]";
    }
    return line;
}

void print_help(FILE* out)
{
    fprintf(out,
            "usage: pavo [options] COMMAND [ARGUMENTS]\n"
            "Talks to the video platform through libpavo, one request per call.\n\n"
            "options (before or after the command):\n"
            "  --workdir DIR       the library's work directory (korix.conf; default ~/.pavo)\n"
            "  --platform URL      the platform (sets openurl; a bare address gets /Open)\n"
            "  --async             run the request through the library's workers\n"
            "  --json              print the result record as JSON\n"
            "  --verbose           show the library's log on stderr\n"
            "  --stats             print the request statistics as JSON on stderr at the end\n"
            "  --oem, --terminal-type, --device-id   the terminal identity\n"
            "  --version           show the library's version\n"
            "  --                  what follows is the command and its arguments\n\n"
            "commands:\n");
    for (const CliCommand& command : cli_commands())
        fprintf(out, "  %-12s %s\n", command.name, command.help);
    fprintf(out,
            "\n'pavo help COMMAND' shows a command's arguments. Exit codes: 0 success,\n"
            "1 refused by the platform, 2 transfer failure, 3 usage or state error.\n");
}

Options parse_options(int argc, char** argv)
{
    struct ValueOption {
        const char* flag;
        std::string Options::*field;
    };
    static const ValueOption kValues[] = {
        {"--workdir", &Options::workdir},  {"--platform", &Options::platform},
        {"--oem", &Options::oem},          {"--terminal-type", &Options::terminal},
        {"--device-id", &Options::device},
    };
    struct SwitchOption {
        const char* flag;
        bool Options::*field;
    };
    static const SwitchOption kSwitches[] = {
        {"--async", &Options::async},     {"--json", &Options::json},
        {"--verbose", &Options::verbose}, {"--help", &Options::help},
        {"-h", &Options::help},           {"--version", &Options::version},
        {"--stats", &Options::stats},
    };
    Options options;
    bool options_end = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        // "-", a negative number and everything after "--" are arguments.
        bool known = options_end || arg.size() < 2 || arg[0] != '-' ||
                     arg.find_first_not_of("0123456789", 1) == std::string::npos;
        if (known) {
            options.words.push_back(arg);
            continue;
        }
        if (arg == "--") {
            options_end = true;
            continue;
        }
        for (const SwitchOption& option : kSwitches)
            if (arg == option.flag)
                known = options.*option.field = true;
        // "--flag value" or "--flag=value".
        size_t equals = arg.find('=');
        std::string flag = arg.substr(0, equals);
        for (const ValueOption& option : kValues) {
            if (flag != option.flag)
                continue;
            if (equals == std::string::npos && i + 1 >= argc)
                fail(kUsage, arg + " needs a value");
            options.*option.field = equals != std::string::npos ? arg.substr(equals + 1)
                                                                : argv[++i];
            known = true;
        }
        if (!known)
            fail(kUsage, "unknown option " + arg + " (see pavo --help)");
    }
    if (options.workdir.empty()) {
        const char* home = getenv("HOME");
        options.workdir = std::string(home != nullptr ? home : ".") + "/.pavo";
    }
    return options;
}

// mkdir -p: every missing directory of the path, private to the user.
void make_directories(const std::string& path)
{
    for (size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        mkdir(path.substr(0, at).c_str(), 0700);
        if (at == std::string::npos)
            return;
    }
}

CliArgs fill_arguments(const CliCommand& command, const std::vector<std::string>& given)
{
    if (given.size() > command.args.size())
        fail(kUsage, "too many arguments; usage: " + usage_line(command));
    CliArgs args;
    for (size_t i = 0; i < command.args.size(); ++i) {
        const char* equals = strchr(command.args[i], '=');
        if (i < given.size())
            args.values.push_back(given[i]);
        else if (equals != nullptr)
            args.values.push_back(equals + 1);
        else
            fail(kUsage,
                 std::string("missing ") + command.args[i] + "; usage: " + usage_line(command));
    }
    return args;
}

void log_to_stderr(int, const char* message, void*) { fprintf(stderr, "%s\n", message); }

// Quiet, secrets masked, failures reported with their reason; --verbose shows
// the log (information and above) on stderr.
void choose_profile(bool verbose)
{
    pavo_setprofile("application");
    if (verbose)
        pavo_setlogcallback(log_to_stderr, nullptr);
}

void start_library(const Options& o)
{
    // A terminal's korix.conf is its own; a new work directory gets one that
    // keeps the library's log beside it.
    std::string conf = o.workdir + "/korix.conf";
    struct stat info;
    make_directories(o.workdir);
    if (stat(o.workdir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        fail(kUsage, "no work directory " + o.workdir);
    if (stat(conf.c_str(), &info) != 0)
        std::ofstream(conf) << "[system]\nlogmode=1\n";

    std::string oem = o.oem, terminal = o.terminal, device = o.device, workdir = o.workdir;
    std::string chip = "CHIP/1.0", client = "PAVOCLI/1.0";
    pavo_init_param param;
    memset(&param, 0, sizeof param);
    param.oem_name = oem.data();
    param.terminal_type = terminal.data();
    param.device_id = device.data();
    param.chipprofile = chip.data();
    param.clientprofile = client.data();
    param.workdirectory = param.perpetualdirectory = param.tmpdirectory = workdir.data();
    param.ipversion = 4;
    if (pavo_init(&param) != PAVO_STATUS_SUCCESS)
        fail(kUsage, std::string("the library did not start: ") + pavo_getlasterrortext());
    if (!o.platform.empty()) {
        // A bare platform address gets the usual opening path.
        std::string url = o.platform;
        size_t host = url.find("://");
        if (url.find('/', host == std::string::npos ? 0 : host + 3) == std::string::npos)
            url += "/Open";
        pavo_writeconfig("system", "openurl", url.c_str());
    }
    // A stored account restores the opened state.
    pavo_query_status();
}

void print_flat(const nlohmann::json& value, const std::string& path)
{
    if (value.is_object() || value.is_array()) {
        int index = 0;
        for (auto it = value.begin(); it != value.end(); ++it, ++index) {
            std::string key = value.is_object() ? it.key() : std::to_string(index);
            print_flat(*it, path.empty() ? key : path + "." + key);
        }
        return;
    }
    fprintf(g_out, "%s: %s\n", path.c_str(),
            value.is_string() ? value.get<std::string>().c_str() : value.dump().c_str());
}

// The result's exit code, and its envelope with the printer's data.
int show_result(const CliCommand& command, const CliArgs& args, const tpavo_result* result,
                const Options& o, nlohmann::json out)
{
    bool plain = command.request == nullptr || (command.flags & kNoResult);
    if (!plain && result == nullptr)
        fail(kTransfer, "no answer could be read");
    if (result != nullptr) {
        out["resultcode"] = result->resultcode;
        out["resultmsg"] = result->resultmsg != nullptr ? result->resultmsg : "";
        out["httpecode"] = result->httpecode;
        out["httpretcode"] = result->httpretcode;
        if (result->datacount != 0 || result->totalcount != 0) {
            out["totalcount"] = result->totalcount;
            out["datacount"] = result->datacount;
        }
    }
    // The library's own classes: no usable answer came.
    if (result != nullptr && result->resultcode <= PAVO_RESULT_TRANSFERFAILED &&
        result->resultcode >= PAVO_RESULT_UNPARSABLE)
        fail(kTransfer, std::string(command.name) + ": " +
                            (result->resultmsg != nullptr ? result->resultmsg : ""));
    bool refused = result != nullptr && result->resultcode < 0;
    bool has_data = result == nullptr || result->data.ptr != nullptr;
    if (!refused && has_data)
        out["data"] = command.printer(result, args);
    if (o.json)
        fprintf(g_out, "%s\n", out.dump(2).c_str());
    else
        print_flat(out, "");
    fflush(g_out);
    if (refused) {
        fprintf(stderr, "pavo: the platform refused %s: %d %s\n", command.name,
                result->resultcode, result->resultmsg != nullptr ? result->resultmsg : "");
        return kRefused;
    }
    return kSuccess;
}

int request_failed(const CliCommand& command, pavo_status_t status)
{
    if (status == PAVO_STATUS_FAILURE)
        fail(kTransfer, std::string(command.name) + ": " + pavo_getlasterrortext());
    fail(kUsage, std::string(command.name) + " is not possible in state " +
                     cli_state_name(pavo_getstate()));
}

// "download URL -": the file goes to a temporary name in the work directory,
// then to standard output.
int download_to_stdout(const CliArgs& args, const Options& o)
{
    std::string path = o.workdir + "/download.XXXXXX";
    int fd = mkstemp(path.data());
    if (fd < 0)
        fail(kUsage, "cannot make a temporary file in " + o.workdir);
    close(fd);
    CliProgress meter(path);
    pavo_status_t status = pavo_downloadresource(1, args.text(0), path.c_str());
    if (status == PAVO_STATUS_SUCCESS)
        meter.finish(path);
    meter.stop();
    pavo_freeresult(pavo_getresult());
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    unlink(path.c_str());
    if (status != PAVO_STATUS_SUCCESS)
        fail(kTransfer, std::string("download: ") + pavo_getlasterrortext());
    fwrite(bytes.data(), 1, bytes.size(), g_out);
    return kSuccess;
}

int run_sync(const CliCommand& command, const CliArgs& args, const Options& o)
{
    if (command.request == cli_download_request() && args.values[1] == "-")
        return download_to_stdout(args, o);
    if (command.request != nullptr) {
        const bool download = command.request == cli_download_request();
        CliProgress meter(download ? args.values[1] : std::string());
        pavo_status_t status = command.request(1, args);
        if (status == PAVO_STATUS_SUCCESS && download)
            meter.finish(args.values[1]);
        meter.stop();
        if (status != PAVO_STATUS_SUCCESS)
            return request_failed(command, status);
    }
    tpavo_result* result =
        command.request == nullptr || (command.flags & kNoResult) ? nullptr : pavo_getresult();
    int code = show_result(command, args, result, o, nlohmann::json::object());
    pavo_freeresult(result);
    return code;
}

// What the callback hands the main thread; both run on the main thread, the
// callback inside pavo_checkmessage.
struct Delivery {
    const CliCommand* command = nullptr;
    const CliArgs* args = nullptr;
    const Options* options = nullptr;
    CliProgress* meter = nullptr;  // a download's, finished before the answer is printed
    bool delivered = false;
    int code = kSuccess;
} g_delivery;

int on_event(tpavo_event* event)
{
    Delivery& d = g_delivery;
    nlohmann::json out = {{"eventtype", event->eventtype}, {"eventid", event->eventid}};
    // Answers that are not parsed (download, report) come without a result.
    const tpavo_result* result = static_cast<const tpavo_result*>(event->data);
    CliCommand unparsed = *d.command;
    if (result == nullptr)
        unparsed.flags |= kNoResult;
    if (d.meter != nullptr)
        d.meter->finish(d.args->values[1]);
    d.code = show_result(unparsed, *d.args, result, *d.options, out);
    d.delivered = true;
    return 0;
}

int run_async(const CliCommand& command, const CliArgs& args, const Options& o)
{
    if (command.request == nullptr)
        return run_sync(command, args, o);
    g_delivery = Delivery{&command, &args, &o, nullptr, false, kSuccess};
    for (int type = PAVO_CALLBACK_AAA; type <= PAVO_CALLBACK_EXTSERVICE; ++type)
        pavo_registercallback(static_cast<pavo_callbacktype>(type), on_event);
    pavo_setfuncmode(FUNCMODE_ASYNC);
    // The profile returns the request once it is queued; the answer is pumped here.
    const bool download = command.request == cli_download_request();
    CliProgress meter(download ? args.values[1] : std::string());
    g_delivery.meter = &meter;
    pavo_status_t status = command.request(1, args);
    if (status != PAVO_STATUS_SUCCESS) {
        meter.stop();
        return request_failed(command, status);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!g_delivery.delivered) {
        if (std::chrono::steady_clock::now() > deadline) {
            meter.stop();
            fail(kTransfer, std::string(command.name) + ": no answer within 30 seconds");
        }
        if (pavo_checkmessage() == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return g_delivery.code;
}

// The login a command needs, done quietly in synchronous mode.
void reach_state(const CliCommand& command)
{
    if (command.need == kNeedNothing || pavo_getstate() >= PAVO_STATE_LOGINED)
        return;
    if (pavo_getstate() < PAVO_STATE_OPENED)
        fail(kUsage, std::string("no account is open: run 'pavo open' before ") + command.name);
    if (command.need != kNeedLogined)
        return;
    pavo_status_t status = pavo_login(0);
    tpavo_result* result = pavo_getresult();
    int refused = result != nullptr && result->resultcode < 0 ? result->resultcode : 0;
    pavo_freeresult(result);
    if (status == PAVO_STATUS_FAILURE)
        fail(kTransfer, std::string("login: ") + pavo_getlasterrortext());
    if (refused != 0 || pavo_getstate() != PAVO_STATE_LOGINED)
        fail(kRefused, "the platform refused the login: " + std::to_string(refused));
}

const CliCommand* find_command(const std::string& name)
{
    for (const CliCommand& command : cli_commands())
        if (name == command.name)
            return &command;
    fail(kUsage, "no command " + name + " (see pavo --help)");
}

}  // namespace

int CliArgs::number(size_t i) const
{
    const std::string& text = values[i];
    char* end = nullptr;
    long value = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < INT_MIN || value > INT_MAX)
        fail(kUsage, "not a number: " + text);
    return static_cast<int>(value);
}

int main(int argc, char** argv)
{
    Options options = parse_options(argc, argv);
    if (options.version) {
        char version[64];
        pavo_readprop("pavoversion", version, sizeof version);
        printf("pavo (libpavo) %s\n", version);
        return kSuccess;
    }
    if (options.words.empty() && !options.help)
        fail(kUsage, "no command (see pavo --help)");
    // "pavo --help", "pavo help", "pavo help COMMAND" and "pavo COMMAND --help".
    if (options.help || options.words[0] == "help") {
        bool named = !options.words.empty() && options.words[0] != "help";
        std::string name = named                      ? options.words[0]
                           : options.words.size() > 1 ? options.words[1]
                                                      : "";
        if (name.empty()) {
            print_help(stdout);
            return kSuccess;
        }
        const CliCommand* command = find_command(name);
        printf("usage: %s\n%s\n", usage_line(*command).c_str(), command->help);
        for (const char* arg : command->args)
            if (strchr(arg, '=') != nullptr)
                printf("  %s%s\n", arg, strchr(arg, '=')[1] == '\0' ? "(empty)" : "");
        return kSuccess;
    }
    const CliCommand& command = *find_command(options.words[0]);
    CliArgs args = fill_arguments(command, std::vector<std::string>(options.words.begin() + 1,
                                                                    options.words.end()));

    choose_profile(options.verbose);
    start_library(options);
    // Also after a failure, which leaves through exit().
    if (options.stats)
        atexit([] { cli_print_stats(stderr); });
    reach_state(command);
    int code = options.async ? run_async(command, args, options)
                             : run_sync(command, args, options);
    fflush(g_out);
    pavo_cleanup();
    return code;
}
