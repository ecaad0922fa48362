/*
 * pavo_service_session.cpp - the session property store: named access to the
 * text fields of g_pavo_env through one table, the configuration file
 * korix.conf behind pavo_readconfig/pavo_writeconfig, and the user token.
 * Called by the service requests (reads), the session write-back of the
 * pipeline's ending (writes) and the application.
 */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"
#include "service/pavo_inifile.h"
#include "service/pavo_service_session.h"

namespace {

// A property is a 256-byte text field of the environment unless it has a
// renderer, which produces its text on reading.
using PropertyRenderer = void (*)(char* buffer, int buffersize);

struct PropertyRow {
    const char* name;
    size_t offset;
    PropertyRenderer render;
    bool readable;
    bool writable;
    bool number = false;  // an int field, read and written as decimal text
};

void render_version(char* buffer, int buffersize)
{
    snprintf(buffer, static_cast<size_t>(buffersize), "%s", PAVO_VERSION_TEXT);
}

void render_ipversion(char* buffer, int buffersize)
{
    snprintf(buffer, static_cast<size_t>(buffersize), "%d", g_pavo_env.ipversion);
}

void render_profile(char* buffer, int buffersize)
{
    snprintf(buffer, static_cast<size_t>(buffersize), "%s",
             pavo_inner_profileactive() != 0 ? "application" : "");
}

#define PAVO_NUMBER_FIELD(field) offsetof(tpavo_env, field), nullptr, true, true, true
#define PAVO_TEXT_FIELD(field) offsetof(tpavo_env, field), nullptr

// Searched front to back with an exact, case-sensitive compare.
constexpr PropertyRow kProperties[] = {
    {"pavoversion", 0, render_version, true, false},
    {"openurl", PAVO_TEXT_FIELD(openurl), true, true},
    {"userid", PAVO_TEXT_FIELD(userid), true, true},
    {"usertoken", PAVO_TEXT_FIELD(usertoken), true, true},
    {"userlevel", PAVO_TEXT_FIELD(userlevel), true, true},
    {"actexpireddate", PAVO_TEXT_FIELD(actexpireddate), true, true},
    {"serverauthenticator", PAVO_TEXT_FIELD(serverauthenticator), true, true},
    {"usergroup", PAVO_TEXT_FIELD(usergroup), true, true},
    {"tvid", PAVO_TEXT_FIELD(tvid), true, true},
    {"tvprofile", PAVO_TEXT_FIELD(tvprofile), true, true},
    {"bizfield", PAVO_TEXT_FIELD(bizfield), true, true},
    {"aaasrvaddress", PAVO_TEXT_FIELD(aaasrvaddress), true, true},
    {"aaasrvaddress2", PAVO_TEXT_FIELD(aaasrvaddress2), true, true},
    {"epgsrvaddress", PAVO_TEXT_FIELD(epgsrvaddress), true, true},
    {"epgsrvaddress2", PAVO_TEXT_FIELD(epgsrvaddress2), true, true},
    {"playsrvaddress", PAVO_TEXT_FIELD(playsrvaddress), true, true},
    {"playsrvaddress2", PAVO_TEXT_FIELD(playsrvaddress2), true, true},
    {"upgradesrvaddress", PAVO_TEXT_FIELD(upgradesrvaddress), true, true},
    {"upgradesrvaddress2", PAVO_TEXT_FIELD(upgradesrvaddress2), true, true},
    {"drmsrvaddress", PAVO_TEXT_FIELD(drmsrvaddress), true, true},
    {"drmsrvaddress2", PAVO_TEXT_FIELD(drmsrvaddress2), true, true},
    {"imgsrvaddress", PAVO_TEXT_FIELD(imgsrvaddress), true, true},
    {"serviceaddress", PAVO_TEXT_FIELD(serviceaddress), true, true},
    {"ipversion", 0, render_ipversion, true, false},
    {"stalltimeout", offsetof(tpavo_env, stalltimeout), nullptr, true, true, true},
    {"requesttimeout", offsetof(tpavo_env, requesttimeout), nullptr, true, true, true},
    {"downloadtimeout", offsetof(tpavo_env, downloadtimeout), nullptr, true, true, true},
    {"streamdownloads", offsetof(tpavo_env, streamdownloads), nullptr, true, true, true},
    {"maxanswersize", offsetof(tpavo_env, maxanswersize), nullptr, true, true, true},
    {"maxrecords", offsetof(tpavo_env, maxrecords), nullptr, true, true, true},
    {"safeconfig", offsetof(tpavo_env, safeconfig), nullptr, true, true, true},
    // The application profile and its behaviours (pavo_profile.cpp).
    {"profile", 0, render_profile, true, true},
    {"loglevel", PAVO_NUMBER_FIELD(loglevel)},
    {"quietconsole", PAVO_NUMBER_FIELD(quietconsole)},
    {"hidesecrets", PAVO_NUMBER_FIELD(hidesecrets)},
    {"errorresults", PAVO_NUMBER_FIELD(errorresults)},
    {"asyncnowait", PAVO_NUMBER_FIELD(asyncnowait)},
    {"wholekeys", PAVO_NUMBER_FIELD(wholekeys)},
    {"strictlocal", PAVO_NUMBER_FIELD(strictlocal)},
    {"failover", offsetof(tpavo_env, failover), nullptr, true, true, true},
    {"failoverhold", offsetof(tpavo_env, failoverhold), nullptr, true, true, true},
    {"retries", offsetof(tpavo_env, retries), nullptr, true, true, true},
    {"retrybase", offsetof(tpavo_env, retrybase), nullptr, true, true, true},
    {"retrycap", offsetof(tpavo_env, retrycap), nullptr, true, true, true},
    {"reloginon", PAVO_TEXT_FIELD(reloginon), true, true},
    {"oem_name", PAVO_TEXT_FIELD(oem_name), true, false},
    {"terminal_type", PAVO_TEXT_FIELD(terminal_type), true, false},
    {"device_id", PAVO_TEXT_FIELD(device_id), true, false},
    {"chipprofile", PAVO_TEXT_FIELD(chipprofile), true, false},
    {"clientprofile", PAVO_TEXT_FIELD(clientprofile), true, false},
    {"workdirectory", PAVO_TEXT_FIELD(workdirectory), true, false},
    {"perpetualdirectory", PAVO_TEXT_FIELD(perpetualdirectory), true, false},
    {"tmpdirectory", PAVO_TEXT_FIELD(tmpdirectory), true, false},
};

#undef PAVO_TEXT_FIELD
#undef PAVO_NUMBER_FIELD

const PropertyRow* find_property(const char* name)
{
    if (name == nullptr)
        return nullptr;
    for (const PropertyRow& row : kProperties) {
        if (strcmp(row.name, name) == 0)
            return &row;
    }
    return nullptr;
}

char* text_field(const PropertyRow& row)
{
    return reinterpret_cast<char*>(&g_pavo_env) + row.offset;
}

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

void pavo_readprop(const char* name, char* buffer, int buffersize)
{
    if (buffer == nullptr || buffersize <= 0)
        return;
    memset(buffer, 0, static_cast<size_t>(buffersize));
    const PropertyRow* row = find_property(name);
    if (row == nullptr || !row->readable)
        return;
    if (row->render != nullptr)
        row->render(buffer, buffersize);
    else if (row->number)
        snprintf(buffer, static_cast<size_t>(buffersize), "%d",
                 pavo_relaxed_load(*reinterpret_cast<int*>(text_field(*row))));
    else
        // Cut at buffersize - 1 into the zeroed buffer, as "%s" would be.
        memcpy(buffer, text_field(*row),
               strnlen(text_field(*row), static_cast<size_t>(buffersize) - 1));
}

// The value used to be the format itself: "%%" is still stored as "%".
int pavo_writeprop(const char* name, const char* value)
{
    const PropertyRow* row = find_property(name);
    if (row != nullptr && row->render == render_profile && row->writable)
        return pavo_setprofile(value);
    if (row == nullptr || !row->writable || row->render != nullptr || value == nullptr)
        return 0;
    if (row->number) {
        int limit = atoi(value);
        pavo_relaxed_store(*reinterpret_cast<int*>(text_field(*row)), limit > 0 ? limit : 0);
        return 0;
    }
    pavo_format_literal(text_field(*row), PAVO_PROP_SIZE, value);
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
        while (name[shown] != '\0' && static_cast<unsigned char>(name[shown]) >= 0x20 && shown < 64)
            ++shown;
        pavo_log_info("korix.conf unchanged, entry refused:%.*s\r\n", shown, name);
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "pavo_writeconfig: korix.conf refused the entry");
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
