// What a service handler sees of the platform, and the handlers themselves. The frame that
// chooses a handler, checks the user token and holds the state lock is platform.cpp; the
// handlers live in account_service.cpp, catalogue_service.cpp and maintenance_service.cpp.
#pragma once

#include "answer_document.h"
#include "fleet.h"
#include "form.h"
#include "platform_data.h"

#include <map>
#include <set>
#include <string>

namespace sim {

struct PlatformAddresses {
    std::string base;       // "http://127.0.0.1:<port>"
    std::string open_path;  // account opening, posted to as it is
    std::string ext_path;   // extended service, posted to as it is
    std::string backup;     // the backup listener's base; empty: none, `base` stands in

    // What the answers' second addresses ("...SrvAddress2") point to.
    const std::string& second() const { return backup.empty() ? base : backup; }
};

// Everything that requests change. Guarded by the platform's lock for a whole request.
struct PlatformState {
    std::map<std::string, AccountData> accounts;  // by user id
    std::map<std::string, std::string> sessions;  // user token -> user id
    std::set<std::string> used_vouchers;
    unsigned long serial = 0;            // numbers tokens and server authenticators
    std::map<std::string, int> expired;  // token of an expired session -> code to answer
    PlatformTally tally;
};

struct ServiceCall {
    const Form& form;
    const PlatformData& data;
    const PlatformAddresses& addresses;
    const std::string& clock;  // platform time, "YYYY-MM-DD hh:mm:ss"
    PlatformState& state;
    AccountData* account;  // the session's account for services behind the token check
};

using ServiceHandler = std::string (*)(ServiceCall&);

std::string handle_open(ServiceCall& call);
std::string handle_login(ServiceCall& call);
std::string handle_logout(ServiceCall& call);
std::string handle_recharge(ServiceCall& call);

std::string handle_query_category(ServiceCall& call);
std::string handle_query_programee(ServiceCall& call);
std::string handle_query_relative(ServiceCall& call);
std::string handle_query_detail(ServiceCall& call);
std::string handle_query_schedule(ServiceCall& call);
std::string handle_play(ServiceCall& call);

std::string handle_upgrade_os(ServiceCall& call);
std::string handle_upgrade_res(ServiceCall& call);
std::string handle_report(ServiceCall& call);
std::string handle_extended_service(ServiceCall& call);

}  // namespace sim
