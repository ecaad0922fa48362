/*
 * pavo_cli_stats.cpp - `pavo --stats`: the library's request statistics as
 * one JSON line on stderr after the command, under the names of the
 * pavo_stats record; request kinds that saw nothing are left out.
 */
#include <stdio.h>

#include "pavo_cli.h"

namespace {

const char* const kKindNames[PAVO_STATS_KINDS] = {
    "init",         "querystatus",      "login",        "logout",
    "open",         "recharge",         "categorylist", "categoryitemlist",
    "itemdetail",   "relateitemlist",   "schedulelist", "playurl",
    "extservice",   "resourcedownload", "upgradeos",    "upgraderes",
    "statusreport", "cleanup",          "kind18",       "kind19"};

nlohmann::json timing(const pavo_stats_timing& t)
{
    return {{"p50", t.p50}, {"p90", t.p90}, {"p99", t.p99}, {"max", t.max}};
}

}  // namespace

void cli_print_stats(FILE* out)
{
    pavo_stats stats;
    if (pavo_getstats(&stats, sizeof stats) != 0)
        return;
    nlohmann::json kinds = nlohmann::json::object();
    for (int i = 0; i < PAVO_STATS_KINDS; ++i) {
        const pavo_stats_kind& k = stats.kinds[i];
        if (k.requests == 0 && k.attempts == 0)
            continue;
        kinds[kKindNames[i]] = {{"requests", k.requests},     {"successes", k.successes},
                                {"connection", k.connection}, {"timeout", k.timeout},
                                {"httpstatus", k.httpstatus}, {"parse", k.parse},
                                {"refused", k.refused},       {"attempts", k.attempts},
                                {"retries", k.retries},       {"failovers", k.failovers},
                                {"relogins", k.relogins}};
    }
    const nlohmann::json all = {{"kinds", kinds},
                                {"logins", stats.logins},
                                {"samples", stats.samples},
                                {"namelookup", timing(stats.namelookup)},
                                {"connect", timing(stats.connect)},
                                {"tls", timing(stats.tls)},
                                {"firstbyte", timing(stats.firstbyte)},
                                {"total", timing(stats.total)}};
    fputs((all.dump() + "\n").c_str(), out);
}
