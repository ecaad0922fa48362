/*
 * pavo_terminal.cpp - an example terminal application of libpavo. It starts
 * the library with the identity given on its command line, shows what the
 * terminal looks like to the platform (TVID, profile, IP address, state) and
 * shuts down. The session is the step table in main: one row per stage.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "pavo.h"

namespace {

struct Options {
    std::string oem = "1234567";
    std::string terminal = "ABCDEFG";
    std::string device = "123456789ABCD";
    std::string chip = "CHIP/1.0";
    std::string client = "PAVOTERM/1.0";
    std::string workdir;
    std::string platform;
    int ipversion = 4;
    bool async = false;
};

struct Session {
    Options options;
    bool own_workdir = false;  // a scratch directory made here, removed at the end
    bool started = false;
};

const char* state_name(tpavo_state state)
{
    switch (state) {
    case PAVO_STATE_NONE: return "none";
    case PAVO_STATE_INITED: return "inited";
    case PAVO_STATE_OPENED: return "opened";
    case PAVO_STATE_LOGINED: return "logined";
    }
    return "unknown";
}

// The library's TVID layout: oem (10), terminal type (10), "V4" or "V6",
// device id (16); each part left-padded with '0' or cut to its width.
std::string tvid_part(const std::string& text, size_t width)
{
    if (text.size() >= width)
        return text.substr(0, width);
    return std::string(width - text.size(), '0') + text;
}

std::string expected_tvid(const Options& options)
{
    return tvid_part(options.oem, 10) + tvid_part(options.terminal, 10) +
           (options.ipversion == 6 ? "V6" : "V4") + tvid_part(options.device, 16);
}

bool prepare_workdir(Session& session)
{
    std::string& workdir = session.options.workdir;
    if (workdir.empty()) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "pavo-terminal-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            perror("mkdtemp");
            return false;
        }
        workdir = pattern;
        session.own_workdir = true;
    }
    printf("work directory: %s\n", workdir.c_str());

    // A terminal keeps its configuration and its log in its work directory;
    // an existing korix.conf is the terminal's own and is left as it is.
    std::string conf = workdir + "/korix.conf";
    struct stat info;
    if (stat(conf.c_str(), &info) == 0)
        return true;
    std::ofstream out(conf, std::ios::binary);
    out << "[system]\nlogmode=3\nlogdirectory=" << workdir << "\n";
    if (!session.options.platform.empty())
        out << "aaasrvaddress=" << session.options.platform << "\n";
    out.close();
    if (!out) {
        fprintf(stderr, "cannot write %s\n", conf.c_str());
        return false;
    }
    return true;
}

bool start_library(Session& session)
{
    Options& o = session.options;
    pavo_init_param param;
    memset(&param, 0, sizeof param);
    param.oem_name = o.oem.data();
    param.terminal_type = o.terminal.data();
    param.device_id = o.device.data();
    param.chipprofile = o.chip.data();
    param.clientprofile = o.client.data();
    param.workdirectory = o.workdir.data();
    param.perpetualdirectory = o.workdir.data();
    param.tmpdirectory = o.workdir.data();
    param.ipversion = o.ipversion;

    pavo_status_t status = pavo_init(&param);
    if (status != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "pavo_init failed: %d\n", status);
        return false;
    }
    session.started = true;
    return pavo_getstate() == PAVO_STATE_INITED;
}

bool choose_function_mode(Session& session)
{
    if (session.options.async && pavo_setfuncmode(FUNCMODE_ASYNC) != 0)
        return false;
    int mode = pavo_getfuncmode();
    printf("function mode: %s\n", mode == FUNCMODE_SYNC ? "synchronous" : "asynchronous");
    return mode == (session.options.async ? FUNCMODE_ASYNC : FUNCMODE_SYNC);
}

bool show_terminal(Session& session)
{
    const Options& o = session.options;
    char ip[64];
    if (pavo_getip(ip, sizeof ip) != 0)
        return false;
    printf("TVID: %s\n", expected_tvid(o).c_str());
    printf("terminal profile: %s;%s;KORIXOS/1001\n", o.chip.c_str(), o.client.c_str());
    printf("IP address: %s\n", ip[0] != '\0' ? ip : "(none found)");
    if (!o.platform.empty())
        printf("platform: %s\n", o.platform.c_str());
    printf("state: %s\n", state_name(pavo_getstate()));
    return true;
}

bool stop_library(Session& session)
{
    if (!session.started)
        return true;
    session.started = false;
    if (pavo_cleanup() != PAVO_STATUS_SUCCESS)
        return false;
    printf("state: %s\n", state_name(pavo_getstate()));
    return pavo_getstate() == PAVO_STATE_NONE;
}

bool remove_scratch_workdir(Session& session)
{
    if (!session.own_workdir)
        return true;
    std::error_code error;
    std::filesystem::remove_all(session.options.workdir, error);
    return !error;
}

struct Step {
    const char* name;
    bool (*run)(Session&);
    bool after_failure;  // shut-down steps run even when an earlier step failed
};

void usage(FILE* out)
{
    fprintf(out,
            "usage: pavo-terminal [options]\n"
            "  --oem NAME           OEM name (default 1234567)\n"
            "  --terminal-type T    terminal type (default ABCDEFG)\n"
            "  --device-id ID       device id (default 123456789ABCD)\n"
            "  --chip PROFILE       chip profile (default CHIP/1.0)\n"
            "  --client PROFILE     client profile (default PAVOTERM/1.0)\n"
            "  --ipversion 4|6      IP version in the TVID (default 4)\n"
            "  --workdir DIR        work directory (default: a fresh one, removed at exit)\n"
            "  --platform URL       platform service address for a new korix.conf\n"
            "  --async              switch to asynchronous mode after start-up\n");
}

// Returns 0 to go on, or the exit status.
int parse_options(int argc, char** argv, Options& options)
{
    struct TextOption {
        const char* flag;
        std::string Options::*field;
    };
    static const TextOption kTextOptions[] = {
        {"--oem", &Options::oem},         {"--terminal-type", &Options::terminal},
        {"--device-id", &Options::device}, {"--chip", &Options::chip},
        {"--client", &Options::client},    {"--workdir", &Options::workdir},
        {"--platform", &Options::platform},
    };
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            usage(stdout);
            return -1;
        }
        if (arg == "--async") {
            options.async = true;
            continue;
        }
        if (i + 1 >= argc) {
            usage(stderr);
            return 2;
        }
        const char* value = argv[++i];
        if (arg == "--ipversion") {
            options.ipversion = atoi(value);
            continue;
        }
        bool known = false;
        for (const TextOption& option : kTextOptions) {
            if (arg == option.flag) {
                options.*option.field = value;
                known = true;
            }
        }
        if (!known) {
            fprintf(stderr, "unknown option %s\n", arg.c_str());
            usage(stderr);
            return 2;
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    Session session;
    int parsed = parse_options(argc, argv, session.options);
    if (parsed != 0)
        return parsed < 0 ? 0 : parsed;

    static const Step kSteps[] = {
        {"prepare work directory", prepare_workdir, false},
        {"start library", start_library, false},
        {"choose function mode", choose_function_mode, false},
        {"show terminal", show_terminal, false},
        {"stop library", stop_library, true},
        {"remove scratch work directory", remove_scratch_workdir, true},
    };
    bool failed = false;
    for (const Step& step : kSteps) {
        if (failed && !step.after_failure)
            continue;
        printf("== %s\n", step.name);
        if (!step.run(session)) {
            fprintf(stderr, "pavo-terminal: step \"%s\" failed\n", step.name);
            failed = true;
        }
    }
    return failed ? 1 : 0;
}
