/*
 * pavo_service_session.cpp - the session property store: named access to the
 * fields of g_pavo_env through the session field table, the configuration file
 * korix.conf behind pavo_readconfig/pavo_writeconfig, and the user token.
 * Called by the service requests (reads), the write-back (writes) and the
 * application.
 */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"
#include "service/pavo_inifile.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_session.h"

namespace {

bool strict_local() { return pavo_relaxed_load(g_pavo_env.strictlocal) != 0; }

// What the INI file needs: a section and a key, neither empty.
bool usable_names(const char* section, const char* name)
{
    if (section != nullptr && section[0] != '\0' && name != nullptr && name[0] != '\0')
        return true;
    pavo_inner_seterror(PAVO_STATUS_FAILURE, "korix.conf: a NULL or empty section or key");
    return false;
}

}  // namespace

extern "C" {

char* pavo_inner_configpath(char* path, size_t pathsize)
{
    snprintf(path, pathsize, "%s/korix.conf", g_pavo_env.workdirectory);
    return path;
}

void pavo_inner_readfield(const pavo_session_field* field, char* buffer, int buffersize)
{
    if (buffer == nullptr || buffersize <= 0)
        return;
    memset(buffer, 0, static_cast<size_t>(buffersize));
    if (field == nullptr || (field->flags & PAVO_FIELD_READ) == 0)
        return;
    if (field->kind == PAVO_FIELD_COMPUTED)
        field->render(buffer, buffersize);
    else if (field->kind == PAVO_FIELD_NUMBER)
        snprintf(buffer, static_cast<size_t>(buffersize), "%d",
                 pavo_relaxed_load(pavo_inner_fieldnumber(&g_pavo_env, *field)));
    else
        // Cut at buffersize - 1 into the zeroed buffer, as "%s" would be.
        memcpy(buffer, pavo_inner_fieldtext(&g_pavo_env, *field),
               strnlen(pavo_inner_fieldtext(&g_pavo_env, *field),
                       static_cast<size_t>(buffersize) - 1));
}

void pavo_readprop(const char* name, char* buffer, int buffersize)
{
    pavo_inner_readfield(pavo_inner_findfield(name), buffer, buffersize);
}

// The value used to be the format itself: "%%" is still stored as "%".
int pavo_writeprop(const char* name, const char* value)
{
    const pavo_session_field* field = pavo_inner_findfield(name);
    if (field == nullptr || (field->flags & PAVO_FIELD_WRITE) == 0)
        return 0;
    if (field->store != nullptr)
        return field->store(value);
    if (field->kind == PAVO_FIELD_COMPUTED || value == nullptr)
        return 0;
    if (field->kind == PAVO_FIELD_NUMBER) {
        int limit = atoi(value);
        pavo_relaxed_store(pavo_inner_fieldnumber(&g_pavo_env, *field), limit > 0 ? limit : 0);
        return 0;
    }
    pavo_format_literal(pavo_inner_fieldtext(&g_pavo_env, *field), field->size, value);
    return 0;
}

char* pavo_readconfig(const char* section, const char* name, char* buffer, int buffersize)
{
    if (buffer == nullptr || buffersize <= 0)
        return buffer;
    memset(buffer, 0, static_cast<size_t>(buffersize));
    // The INI reader asserts on these; "strictlocal" turns the abort into an error.
    if (strict_local() && !usable_names(section, name))
        return buffer;
    char path[PAVO_PROP_SIZE];
    read_profile_string(section, name, buffer, buffersize, "",
                        pavo_inner_configpath(path, sizeof path));
    return buffer;
}

// The section only chooses where the file keeps the value; a writable
// property of the same name takes it at once, whatever the section.
// With "strictlocal" a value that does not reach the file is a failure and
// leaves the property alone; without, only an entry "safeconfig" refuses is.
int pavo_writeconfig(const char* section, const char* name, const char* value)
{
    const bool strict = strict_local();
    if (name == nullptr || value == nullptr || (strict && !usable_names(section, name))) {
        if (!strict)
            return 0;
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "pavo_writeconfig: a NULL or empty argument");
        return PAVO_STATUS_FAILURE;
    }
    char path[PAVO_PROP_SIZE];
    pavo_inner_configpath(path, sizeof path);
    if (strict && g_pavo_env.workdirectory[0] == '\0') {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "pavo_writeconfig: no work directory");
        return PAVO_STATUS_FAILURE;
    }
    // Without safeconfig, or when the entry fits but the file cannot be written,
    // the outcome is the documented one: only strictlocal makes it a failure.
    const int whole = pavo_relaxed_load(g_pavo_env.safeconfig) == 0
                          ? (write_profile_string(section, name, value, path) != 0 ? 1 : -1)
                          : pavo_inner_writeprofile_whole(section, name, value, path);
    if (whole < 0 && strict) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "pavo_writeconfig: cannot write %s", path);
        return PAVO_STATUS_FAILURE;
    }
    if (whole == 0) {
        // The name up to its first control byte; the value may be a secret.
        int shown = 0;
        while (name[shown] != '\0' && static_cast<unsigned char>(name[shown]) >= 0x20 &&
               shown < 64)
            ++shown;
        pavo_log_info("korix.conf unchanged, entry refused:%.*s\r\n", shown, name);
        pavo_inner_seterror(PAVO_STATUS_FAILURE,
                            "pavo_writeconfig: korix.conf refused the entry");
        return PAVO_STATUS_FAILURE;
    }
    pavo_writeprop(name, value);
    return 0;
}

char* pavo_getusertoken(void) { return g_pavo_env.usertoken; }

void pavo_setusertoken(const char* usertoken)
{
    if (usertoken != nullptr)
        pavo_format_literal(g_pavo_env.usertoken, sizeof g_pavo_env.usertoken, usertoken);
}

}  // extern "C"
