/*
 * pavo_settings.cpp - the table of korix.conf settings that start-up reads
 * (key, kind, default, the value that restores the documented behaviour, the
 * environment field it fills) and the one loop that reads them. Called by
 * the lifecycle's start-up.
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
int settle_loglevel(int value)
{
    return value < PAVO_LOG_ERROR ? PAVO_LOG_ERROR : value > PAVO_LOG_DEBUG ? PAVO_LOG_DEBUG : value;
}
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
    // 8 MiB (maxanswersize) at 256 kbit/s takes 256 s; with the connect time and some
    // slack a whole answer passes in 300.
    {"requesttimeout", Kind::number, offsetof(tpavo_env, requesttimeout), 300, 0, settle_limit,
     false},
    {"downloadtimeout", Kind::number, offsetof(tpavo_env, downloadtimeout), 0, 0, settle_limit,
     false},
    {"streamdownloads", Kind::number, offsetof(tpavo_env, streamdownloads), 1, 0, nullptr, false},
    {"maxanswersize", Kind::number, offsetof(tpavo_env, maxanswersize), 8 << 20, 0, settle_limit,
     false},
    {"maxrecords", Kind::number, offsetof(tpavo_env, maxrecords), 100000, 0, settle_limit, false},
    {"strictlocal", Kind::number, offsetof(tpavo_env, strictlocal), 0, 0, nullptr, false},
    // 0 writes korix.conf in place, cut at 64 KiB, whatever the values hold.
    {"safeconfig", Kind::number, offsetof(tpavo_env, safeconfig), 1, 0, nullptr, false},
    // The application profile's behaviours: an absent key follows the profile
    // (pavo_profile.cpp); the documented values are 3 and 0.
    {"loglevel", Kind::number, offsetof(tpavo_env, loglevel), PAVO_LOG_DEBUG, PAVO_LOG_DEBUG,
     settle_loglevel, false},
    {"quietconsole", Kind::number, offsetof(tpavo_env, quietconsole), 0, 0, nullptr, false},
    {"hidesecrets", Kind::number, offsetof(tpavo_env, hidesecrets), 0, 0, nullptr, false},
    {"errorresults", Kind::number, offsetof(tpavo_env, errorresults), 0, 0, nullptr, false},
    {"asyncnowait", Kind::number, offsetof(tpavo_env, asyncnowait), 0, 0, nullptr, false},
    {"wholekeys", Kind::number, offsetof(tpavo_env, wholekeys), 0, 0, nullptr, false},
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
                    : pavo_inner_profiledefault(setting.key, setting.default_value);
    if (setting.settle != nullptr)
        value = setting.settle(value);
    pavo_relaxed_store(*reinterpret_cast<int*>(field), value);
}

// "profile" comes first: it chooses the defaults of the behaviour keys. An
// unknown name leaves the profile as it was.
void read_profile_setting(const char* conf)
{
    char name[PAVO_PROP_SIZE] = {0};
    if (read_profile_string(kConfigSection, "profile", name, sizeof name, "", conf) &&
        pavo_setprofile(name) != 0)
        pavo_log_warn("unknown profile in korix.conf, ignored\r\n");
}

}  // namespace

extern "C" {

void pavo_inner_readsettings(tpavo_env* env, const char* conf)
{
    const bool emulator = pavo_relaxed_load(env->workmode) != 0;
    read_profile_setting(conf);
    for (const Setting& setting : kSettings) {
        if (!(setting.log && emulator))
            read_setting(setting, env, conf);
    }
    pavo_inner_bindrecordlimit(&env->maxrecords);
    if (!emulator) {
        env->logfileptr = nullptr;
        pavo_log_init();
    }
    // Once, after the log opened: every key above read only the first part.
    if (pavo_inner_inifilestate(conf) == PAVO_INI_OVERSIZE)
        pavo_log_info("korix.conf read up to %d bytes, the rest ignored\r\n",
                      PAVO_INI_TEXT_LIMIT);
}

}  // extern "C"
