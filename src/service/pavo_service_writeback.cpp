/*
 * pavo_service_writeback.cpp - what a successful open or login answer writes
 * into the session: the state and the properties (login) or the persisted
 * account values (open), as the session field table names them, after
 * checking that the session may take them.
 * Named by the pipeline's table of event types and run by its ending in
 * both modes, and by the re-login.
 */
#include <ctype.h>
#include <string.h>
#include <strings.h>

#include "service/pavo_global.h"
#include "service/pavo_inifile.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_session.h"

namespace {

// The member of each record that a row of the session field table takes.
char* tpavo_loginresponse::*member_of(const pavo_session_field& field, const tpavo_loginresponse*)
{
    return field.login;
}
char* tpavo_openresponse::*member_of(const pavo_session_field& field, const tpavo_openresponse*)
{
    return field.open;
}

// Only http and https, with no blank or control byte. A text without a
// scheme ("host:8080/x", where a digit follows the colon) is left to the
// transfer, which accepts no other protocol either.
bool address_allowed(const char* address)
{
    for (const char* p = address; *p != '\0'; ++p) {
        if (static_cast<unsigned char>(*p) <= 0x20 || *p == 0x7F)
            return false;
    }
    size_t scheme = 0;
    if (isalpha(static_cast<unsigned char>(address[0]))) {
        scheme = 1;
        while (isalnum(static_cast<unsigned char>(address[scheme])) ||
               (address[scheme] != '\0' && strchr("+-.", address[scheme]) != nullptr))
            ++scheme;
    }
    if (scheme == 0 || address[scheme] != ':' ||
        isdigit(static_cast<unsigned char>(address[scheme + 1])) || address[scheme + 1] == '\0')
        return true;
    return (scheme == 4 && strncasecmp(address, "http", 4) == 0) ||
           (scheme == 5 && strncasecmp(address, "https", 5) == 0);
}

// The first member the session may not take, or null. Values bound for
// korix.conf must also fit one line while "safeconfig" is on.
template <typename Record>
const char* refused_member(const Record* record, bool persisted)
{
    const bool whole = persisted && pavo_relaxed_load(g_pavo_env.safeconfig) != 0;
    for (const pavo_session_field& field : g_pavo_fields) {
        char* Record::*member = member_of(field, record);
        const char* text = member != nullptr ? record->*member : nullptr;
        if (text != nullptr &&
            (((field.flags & PAVO_FIELD_ADDRESS) != 0 && !address_allowed(text)) ||
             (whole && !pavo_inner_inivaluefits(text))))
            return field.name;
    }
    return nullptr;
}

// One line naming the member, never its value.
int refuse(const char* request, const char* name)
{
    pavo_log_info("%s answer refused, unusable %s\r\n", request, name);
    return -1;
}

}  // namespace

extern "C" {

int pavo_inner_writeback_login(const tpavo_result* result)
{
    const tpavo_loginresponse* login = result->data.loginresponse;
    if (const char* name = refused_member(login, false))
        return refuse("login", name);
    pavo_setstate(PAVO_STATE_LOGINED);
    for (const pavo_session_field& field : g_pavo_fields) {
        if (field.login != nullptr)
            pavo_writeprop(field.name, login->*field.login);
    }
    return 0;
}

// Open persists what login only keeps in memory; the asymmetry is kept.
int pavo_inner_writeback_open(const tpavo_result* result)
{
    const tpavo_openresponse* open = result->data.openresponse;
    if (const char* name = refused_member(open, true))
        return refuse("open", name);
    pavo_setstate(PAVO_STATE_OPENED);
    for (const pavo_session_field& field : g_pavo_fields) {
        if (field.open != nullptr)
            pavo_writeconfig(PAVO_CONFIG_SECTION, field.name, open->*field.open);
    }
    return 0;
}

}  // extern "C"
