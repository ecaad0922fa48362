/*
 * pavo_terminal.h - the example terminal application's session record and
 * steps. A step is either the application's own (local) or one request to
 * the platform with the procedure that reads its answer; pavo_terminal.cpp
 * runs them in order, synchronously or asynchronously.
 */
#ifndef PAVO_TERMINAL_H
#define PAVO_TERMINAL_H

#include <string>

#include "pavo.h"

struct Options {
    // The terminal the platform simulator knows (tools/simdata/accounts.ini).
    std::string oem = "PAVO";
    std::string terminal = "STB100";
    std::string device = "SIM0000001";
    std::string chip = "CHIP/1.0";
    std::string client = "PAVOTERM/1.0";
    std::string workdir;
    std::string platform;
    int ipversion = 4;
    bool async = false;
};

// What the session has learnt so far; answer procedures fill it for the
// steps after them (in asynchronous mode from inside the callback, the only
// moment the answer exists).
struct Session {
    Options options;
    bool own_workdir = false;  // a scratch directory made here, removed at the end
    bool started = false;
    std::string parent_category;  // first top-level category with sub-categories
    std::string live_category;    // first top-level category of channels
    std::string item_category;    // first sub-category of parent_category
    std::string programme;        // first programme of item_category
    std::string clip;             // its first video clip
    std::string channel;          // first channel of live_category
    std::string resource_url;     // the offered resource package
    std::string resource_hash;    // its SHA-1 as the platform gives it
    std::string resource_file;    // where it was downloaded
};

using LocalStep = bool (*)(Session& session);
using RequestStep = pavo_status_t (*)(Session& session, unsigned eventid);
using AnswerStep = bool (*)(Session& session, const tpavo_result* result);

enum StepFlags {
    kNeedsPlatform = 1,  // skipped without --platform
    kAfterFailure = 2,   // shut-down: runs even when an earlier step failed
    kNoLastResult = 4,   // the request leaves no result of its own (status report)
};

struct Step {
    const char* name;
    LocalStep local;      // a step of the application alone, or
    RequestStep request;  // a request to the platform
    AnswerStep answer;    // and what the application makes of its answer
    int flags;
};

const char* event_name(int eventtype);
// Prints the result with pavo_dumpresult, then lets the step read it.
bool show_answer(Session& session, const Step& step, const tpavo_result* result);

bool prepare_workdir(Session& session);
bool start_library(Session& session);
bool point_at_platform(Session& session);
bool choose_function_mode(Session& session);
bool show_terminal(Session& session);
bool query_stored_account(Session& session);
bool show_server_time(Session& session);
bool stop_library(Session& session);
bool remove_scratch_workdir(Session& session);

pavo_status_t request_open(Session& session, unsigned eventid);
pavo_status_t request_login(Session& session, unsigned eventid);
pavo_status_t request_categories(Session& session, unsigned eventid);
pavo_status_t request_subcategories(Session& session, unsigned eventid);
pavo_status_t request_programmes(Session& session, unsigned eventid);
pavo_status_t request_related(Session& session, unsigned eventid);
pavo_status_t request_detail(Session& session, unsigned eventid);
pavo_status_t request_channels(Session& session, unsigned eventid);
pavo_status_t request_schedules(Session& session, unsigned eventid);
pavo_status_t request_play(Session& session, unsigned eventid);
pavo_status_t request_extended(Session& session, unsigned eventid);
pavo_status_t request_recharge(Session& session, unsigned eventid);
pavo_status_t request_upgrade_os(Session& session, unsigned eventid);
pavo_status_t request_upgrade_res(Session& session, unsigned eventid);
pavo_status_t request_download(Session& session, unsigned eventid);
pavo_status_t request_report(Session& session, unsigned eventid);
pavo_status_t request_logout(Session& session, unsigned eventid);

bool answer_open(Session& session, const tpavo_result* result);
bool answer_login(Session& session, const tpavo_result* result);
bool answer_categories(Session& session, const tpavo_result* result);
bool answer_subcategories(Session& session, const tpavo_result* result);
bool answer_programmes(Session& session, const tpavo_result* result);
bool answer_related(Session& session, const tpavo_result* result);
bool answer_detail(Session& session, const tpavo_result* result);
bool answer_channels(Session& session, const tpavo_result* result);
bool answer_schedules(Session& session, const tpavo_result* result);
bool answer_play(Session& session, const tpavo_result* result);
bool answer_extended(Session& session, const tpavo_result* result);
bool answer_recharge(Session& session, const tpavo_result* result);
bool answer_upgrade_os(Session& session, const tpavo_result* result);
bool answer_upgrade_res(Session& session, const tpavo_result* result);
bool answer_download(Session& session, const tpavo_result* result);
bool answer_report(Session& session, const tpavo_result* result);
bool answer_logout(Session& session, const tpavo_result* result);

#endif
