/*
 * pavo_settings.cpp - the table of korix.conf settings that start-up reads
 * (key, kind, default, the value that restores the documented behaviour, the
 * environment field it fills) and the one loop that reads them. Called by
 * pavo_inner_init in pavo_service.cpp.
 */
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "parse/pavo_parse_frame.h"
#include "service/pavo_inifile.h"
#include "service/pavo_settings.h"

namespace {

const char kConfigSection[] = "system";

// The queue keeps at least this many messages; "msgqueuesize" only raises it.
constexpr int kMinMessageQueueSize = 100;

enum class Kind { text, number };

struct Setting {
    const char* key;
    Kind kind;
    size_t field;      // offset of the field in tpavo_env
    int default_value;     // numbers: what an absent key gives
    int documented_value;  // numbers: the value that keeps the documented behaviour
    int (*settle)(int value);  // numbers: how a read value becomes the field's, or null
    bool log;  // left alone in emulator mode, where the application owns the log
};

// Kept: a log mode of 0 means 1 (the file log).
int settle_logmode(int value) { return value == 0 ? 1 : value; }
// A limit below 0 is as none.
int settle_limit(int value) { return value > 0 ? value : 0; }
int settle_msgqueuesize(int value)
{
    return value > kMinMessageQueueSize ? value : kMinMessageQueueSize;
}

constexpr Setting text_setting(const char* key, size_t field, bool log = false)
{
    return {key, Kind::text, field, 0, 0, nullptr, log};
}

// Read in this order; the session values persisted by open come back here.
constexpr Setting kSettings[] = {
    text_setting("openurl", offsetof(tpavo_env, openurl)),
    {"logmode", Kind::number, offsetof(tpavo_env, logmode), 1, 1, settle_logmode, true},
    text_setting("logdirectory", offsetof(tpavo_env, logdirectory), true),
    text_setting("userid", offsetof(tpavo_env, userid)),
    text_setting("bizfield", offsetof(tpavo_env, bizfield)),
    text_setting("aaasrvaddress", offsetof(tpavo_env, aaasrvaddress)),
    text_setting("aaasrvaddress2", offsetof(tpavo_env, aaasrvaddress2)),
    {"msgqueuesize", Kind::number, offsetof(tpavo_env, msgqueuesize), kMinMessageQueueSize,
     kMinMessageQueueSize, settle_msgqueuesize, false},
    // 0 gives one connection per request, as documented.
    {"keepalive", Kind::number, offsetof(tpavo_env, keepalive), 1, 0, nullptr, false},
    text_setting("cafile", offsetof(tpavo_env, cafile)),
    // Limits that turn a hang or a memory flood into a clear error; 0 lifts each.
    {"stalltimeout", Kind::number, offsetof(tpavo_env, stalltimeout), 60, 0, settle_limit, false},
    {"maxanswersize", Kind::number, offsetof(tpavo_env, maxanswersize), 8 << 20, 0, settle_limit,
     false},
    {"maxrecords", Kind::number, offsetof(tpavo_env, maxrecords), 100000, 0, settle_limit, false},
    // Fleet behaviour, off by default: 0 or empty each keeps the documented requests.
    {"failover", Kind::number, offsetof(tpavo_env, failover), 0, 0, settle_limit, false},
    {"failoverhold", Kind::number, offsetof(tpavo_env, failoverhold), 60, 0, settle_limit, false},
    {"retries", Kind::number, offsetof(tpavo_env, retries), 0, 0, settle_limit, false},
    {"retrybase", Kind::number, offsetof(tpavo_env, retrybase), 500, 0, settle_limit, false},
    {"retrycap", Kind::number, offsetof(tpavo_env, retrycap), 30000, 0, settle_limit, false},
    text_setting("reloginon", offsetof(tpavo_env, reloginon)),
};

void read_setting(const Setting& setting, tpavo_env* env, const char* conf)
{
    char* field = reinterpret_cast<char*>(env) + setting.field;
    if (setting.kind == Kind::text) {
        memset(field, 0, PAVO_PROP_SIZE);
        read_profile_string(kConfigSection, setting.key, field, PAVO_PROP_SIZE, "", conf);
        return;
    }
    char text[PAVO_PROP_SIZE] = {0};
    int value = read_profile_string(kConfigSection, setting.key, text, sizeof text, "", conf)
                    ? atoi(text)
                    : setting.default_value;
    if (setting.settle != nullptr)
        value = setting.settle(value);
    pavo_relaxed_store(*reinterpret_cast<int*>(field), value);
}

}  // namespace

extern "C" {

void pavo_inner_readsettings(tpavo_env* env, const char* conf)
{
    const bool emulator = pavo_relaxed_load(env->workmode) != 0;
    for (const Setting& setting : kSettings) {
        if (!(setting.log && emulator))
            read_setting(setting, env, conf);
    }
    pavo_inner_bindrecordlimit(&env->maxrecords);
    if (!emulator) {
        env->logfileptr = nullptr;
        pavo_log_init();
    }
}

}  // extern "C"
