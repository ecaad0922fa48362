/*
 * pavo_settings.cpp - what start-up reads from section "system" of korix.conf:
 * every row of the session field table marked as a setting, in the table's
 * order, in one loop. Called by the lifecycle's start-up.
 */
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "service/pavo_inifile.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_settings.h"

namespace {

void read_setting(const pavo_session_field& setting, tpavo_env* env, const char* conf)
{
    if (setting.kind == PAVO_FIELD_TEXT) {
        char* field = pavo_inner_fieldtext(env, setting);
        memset(field, 0, setting.size);
        read_profile_string(PAVO_CONFIG_SECTION, setting.name, field,
                            static_cast<int>(setting.size), "", conf);
        return;
    }
    char text[PAVO_PROP_SIZE] = {0};
    const bool present =
        read_profile_string(PAVO_CONFIG_SECTION, setting.name, text, sizeof text, "", conf) != 0;
    if (setting.kind == PAVO_FIELD_COMPUTED) {
        // The profile: an unknown name leaves it as it was.
        if (present && setting.store(text) != 0)
            pavo_log_warn("unknown profile in korix.conf, ignored\r\n");
        return;
    }
    int value = present ? atoi(text)
                        : pavo_inner_profiledefault(setting.name, setting.default_value);
    if (setting.settle != nullptr)
        value = setting.settle(value);
    pavo_relaxed_store(pavo_inner_fieldnumber(env, setting), value);
}

}  // namespace

extern "C" {

void pavo_inner_readsettings(tpavo_env* env, const char* conf)
{
    const bool emulator = pavo_relaxed_load(env->workmode) != 0;
    for (const pavo_session_field& field : g_pavo_fields) {
        if ((field.flags & PAVO_FIELD_SETTING) != 0 ||
            ((field.flags & PAVO_FIELD_LOGSETTING) != 0 && !emulator))
            read_setting(field, env, conf);
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
