/*
 * pavo_terminal.cpp - an example terminal application of libpavo. With
 * --platform it runs one whole terminal session against that platform (open,
 * login, catalogue, play, recharge, upgrades, download, report, logout);
 * without, it only starts the library, shows the terminal and shuts down.
 * The session is the step table in main; the steps live in
 * pavo_terminal_steps.cpp, the synchronous and asynchronous runners here.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "pavo_terminal.h"

namespace {

// An answer that takes longer than this counts as lost (the platform's
// connect time-out is 15 seconds).
constexpr std::chrono::seconds kAnswerBound{30};

// The request step whose answer the main thread waits for. Only the main
// thread touches it: callbacks run inside pavo_checkmessage, on that thread.
struct PendingAnswer {
    Session* session = nullptr;
    const Step* step = nullptr;
    int eventid = -1;
    bool delivered = false;
    bool ok = false;
};
PendingAnswer g_pending;

// What a detached request thread reports when its call returns: at once for
// a refusal, after the library's 100-second pause otherwise. Shared, so that
// it outlives the step that started the thread.
struct RequestReturn {
    std::atomic<bool> returned{false};
    std::atomic<int> status{0};
};

int on_event(tpavo_event* event)
{
    printf("  event %s, id %d\n", event_name(event->eventtype), event->eventid);
    if (g_pending.step == nullptr || event->eventid != g_pending.eventid) {
        printf("  (no step waits for it)\n");
        return 0;
    }
    // The result is freed as soon as this returns: the step's answer
    // procedure copies what later steps need into the session.
    g_pending.ok = show_answer(*g_pending.session, *g_pending.step,
                               static_cast<const tpavo_result*>(event->data));
    g_pending.delivered = true;
    return 0;
}

bool run_sync_request(Session& session, const Step& step, unsigned eventid)
{
    pavo_status_t status = step.request(session, eventid);
    if (status != PAVO_STATUS_SUCCESS) {
        printf("  request failed: status %d\n", status);
        return false;
    }
    tpavo_result* result = (step.flags & kNoLastResult) ? nullptr : pavo_getresult();
    bool ok = show_answer(session, step, result);
    pavo_freeresult(result);
    return ok;
}

bool run_async_request(Session& session, const Step& step, unsigned eventid)
{
    g_pending = PendingAnswer{&session, &step, static_cast<int>(eventid), false, false};
    auto request_return = std::make_shared<RequestReturn>();
    RequestStep request = step.request;
    // Detached: the call holds its thread for 100 seconds after queueing the
    // transfer, and the session goes on as soon as the answer is here.
    std::thread([request, &session, eventid, request_return] {
        request_return->status = request(session, eventid);
        request_return->returned = true;
    }).detach();

    const auto deadline = std::chrono::steady_clock::now() + kAnswerBound;
    while (!g_pending.delivered) {
        if (request_return->returned && request_return->status != PAVO_STATUS_SUCCESS) {
            printf("  request failed: status %d\n", request_return->status.load());
            break;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            printf("  no answer within %lld seconds\n",
                   static_cast<long long>(kAnswerBound.count()));
            break;
        }
        if (pavo_checkmessage() == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    g_pending.step = nullptr;
    return g_pending.delivered && g_pending.ok;
}

bool run_step(Session& session, const Step& step, unsigned eventid)
{
    if (step.local != nullptr)
        return step.local(session);
    if (session.options.async)
        return run_async_request(session, step, eventid);
    return run_sync_request(session, step, eventid);
}

void usage(FILE* out)
{
    fprintf(out,
            "usage: pavo-terminal [options]\n"
            "  --platform URL       the platform's address (e.g. the simulator's);\n"
            "                       without it only start-up and shut-down run\n"
            "  --workdir DIR        work directory (default: a fresh one, removed at exit)\n"
            "  --async              run the session in asynchronous mode\n"
            "  --oem NAME           OEM name (default PAVO)\n"
            "  --terminal-type T    terminal type (default STB100)\n"
            "  --device-id ID       device id (default SIM0000001)\n"
            "  --chip PROFILE       chip profile (default CHIP/1.0)\n"
            "  --client PROFILE     client profile (default PAVOTERM/1.0)\n"
            "  --ipversion 4|6      IP version in the TVID (default 4)\n");
}

// Returns 0 to go on, or the exit status.
int parse_options(int argc, char** argv, Options& options)
{
    struct TextOption {
        const char* flag;
        std::string Options::*field;
    };
    static const TextOption kTextOptions[] = {
        {"--oem", &Options::oem},           {"--terminal-type", &Options::terminal},
        {"--device-id", &Options::device},  {"--chip", &Options::chip},
        {"--client", &Options::client},     {"--workdir", &Options::workdir},
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

// Callbacks are registered after start-up, which empties every slot; one
// procedure serves the three kinds of answer this session asks for.
bool choose_function_mode(Session& session)
{
    if (session.options.async) {
        for (pavo_callbacktype type :
             {PAVO_CALLBACK_AAA, PAVO_CALLBACK_EPG, PAVO_CALLBACK_TMMANAGE}) {
            if (pavo_registercallback(type, on_event) != PAVO_STATUS_SUCCESS)
                return false;
        }
        pavo_setfuncmode(FUNCMODE_ASYNC);
    }
    int mode = pavo_getfuncmode();
    printf("  function mode: %s\n", mode == FUNCMODE_SYNC ? "synchronous" : "asynchronous");
    return mode == (session.options.async ? FUNCMODE_ASYNC : FUNCMODE_SYNC);
}

int main(int argc, char** argv)
{
    Session session;
    int parsed = parse_options(argc, argv, session.options);
    if (parsed != 0)
        return parsed < 0 ? 0 : parsed;
    // One line at a time even into a pipe, so that the library's own output
    // and the session's keep their order.
    setvbuf(stdout, nullptr, _IOLBF, 0);

    static const Step kSteps[] = {
        {"prepare work directory", prepare_workdir, nullptr, nullptr, 0},
        {"start library", start_library, nullptr, nullptr, 0},
        {"point at the platform", point_at_platform, nullptr, nullptr, kNeedsPlatform},
        {"choose function mode", choose_function_mode, nullptr, nullptr, 0},
        {"show terminal", show_terminal, nullptr, nullptr, 0},
        {"look for a stored account", query_stored_account, nullptr, nullptr, 0},
        {"open account by terminal code", nullptr, request_open, answer_open, kNeedsPlatform},
        {"login", nullptr, request_login, answer_login, kNeedsPlatform},
        {"category list", nullptr, request_categories, answer_categories, kNeedsPlatform},
        {"sub-categories", nullptr, request_subcategories, answer_subcategories, kNeedsPlatform},
        {"programmes with details", nullptr, request_programmes, answer_programmes,
         kNeedsPlatform},
        {"related items", nullptr, request_related, answer_related, kNeedsPlatform},
        {"item detail", nullptr, request_detail, answer_detail, kNeedsPlatform},
        {"channels", nullptr, request_channels, answer_channels, kNeedsPlatform},
        {"schedules", nullptr, request_schedules, answer_schedules, kNeedsPlatform},
        {"play address", nullptr, request_play, answer_play, kNeedsPlatform},
        {"extended service", nullptr, request_extended, answer_extended, kNeedsPlatform},
        {"recharge", nullptr, request_recharge, answer_recharge, kNeedsPlatform},
        {"system upgrade check", nullptr, request_upgrade_os, answer_upgrade_os, kNeedsPlatform},
        {"resource upgrade check", nullptr, request_upgrade_res, answer_upgrade_res,
         kNeedsPlatform},
        {"download offered resource", nullptr, request_download, answer_download, kNeedsPlatform},
        {"status report", nullptr, request_report, answer_report, kNeedsPlatform | kNoLastResult},
        {"server time", show_server_time, nullptr, nullptr, kNeedsPlatform},
        {"logout", nullptr, request_logout, answer_logout, kNeedsPlatform},
        {"stop library", stop_library, nullptr, nullptr, kAfterFailure},
        {"remove scratch work directory", remove_scratch_workdir, nullptr, nullptr,
         kAfterFailure},
    };
    const bool with_platform = !session.options.platform.empty();
    int failures = 0;
    int run = 0;
    unsigned eventid = 0;
    for (const Step& step : kSteps) {
        ++eventid;
        if ((step.flags & kNeedsPlatform) && !with_platform)
            continue;
        if (failures > 0 && !(step.flags & kAfterFailure))
            continue;
        printf("== %s\n", step.name);
        ++run;
        if (!run_step(session, step, eventid)) {
            fprintf(stderr, "pavo-terminal: step \"%s\" failed\n", step.name);
            ++failures;
        }
    }
    printf("pavo-terminal: %d steps run, %s\n", run, failures == 0 ? "all passed" : "FAILED");
    // Asynchronous request threads still sleep in the library's pause; they
    // touch nothing shared when they wake, and leave with the process.
    return failures == 0 ? 0 : 1;
}
