/*
 * pavo_service_writeback.cpp - what a successful open or login answer writes
 * into the session: the state and the properties (login) or the persisted
 * account values (open), after checking that the session may take them.
 * Named by the pipeline's table of event types and run by its ending in
 * both modes, and by the re-login.
 */
#include <ctype.h>
#include <string.h>
#include <strings.h>

#include "service/pavo_global.h"
#include "service/pavo_inifile.h"
#include "service/pavo_service_session.h"

namespace {

// A text member of an answer record and the property (or configuration
// key) of the same name that it is written to.
template <typename Record>
struct NamedMember {
    const char* name;
    char* Record::*member;
    bool address;  // a service address that later transfers go to
};

// The login record's values, written to the session properties in this order.
constexpr NamedMember<tpavo_loginresponse> kLoginValues[] = {
    {"usertoken", &tpavo_loginresponse::usertoken, false},
    {"usergroup", &tpavo_loginresponse::usergroup, false},
    {"aaasrvaddress", &tpavo_loginresponse::aaasrvaddress, true},
    {"aaasrvaddress2", &tpavo_loginresponse::aaasrvaddress2, true},
    {"serverauthenticator", &tpavo_loginresponse::serverauthenticator, false},
    {"userlevel", &tpavo_loginresponse::userlevel, false},
    {"actexpireddate", &tpavo_loginresponse::actexpireddate, false},
    {"epgsrvaddress", &tpavo_loginresponse::epgsrvaddress, true},
    {"epgsrvaddress2", &tpavo_loginresponse::epgsrvaddress2, true},
    {"playsrvaddress", &tpavo_loginresponse::playsrvaddress, true},
    {"playsrvaddress2", &tpavo_loginresponse::playsrvaddress2, true},
    {"upgradesrvaddress", &tpavo_loginresponse::upgradesrvaddress, true},
    {"upgradesrvaddress2", &tpavo_loginresponse::upgradesrvaddress2, true},
    {"imgsrvaddress", &tpavo_loginresponse::imgsrvaddress, true},
    {"serviceaddress", &tpavo_loginresponse::serviceaddress, true},
    {"drmsrvaddress", &tpavo_loginresponse::drmsrvaddress, true},
    {"drmsrvaddress2", &tpavo_loginresponse::drmsrvaddress2, true},
};

// The open record's values, persisted in korix.conf (and so also set as
// properties) in this order.
constexpr NamedMember<tpavo_openresponse> kOpenValues[] = {
    {"userid", &tpavo_openresponse::userid, false},
    {"aaasrvaddress", &tpavo_openresponse::aaasrvaddress, true},
    {"aaasrvaddress2", &tpavo_openresponse::aaasrvaddress2, true},
};

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
template <typename Record, size_t N>
const char* refused_member(const Record* record, const NamedMember<Record> (&members)[N],
                           bool persisted)
{
    const bool whole = persisted && pavo_relaxed_load(g_pavo_env.safeconfig) != 0;
    for (const auto& value : members) {
        const char* text = record->*value.member;
        if (text != nullptr && ((value.address && !address_allowed(text)) ||
                                (whole && !pavo_inner_inivaluefits(text))))
            return value.name;
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
    if (const char* name = refused_member(login, kLoginValues, false))
        return refuse("login", name);
    pavo_setstate(PAVO_STATE_LOGINED);
    for (const auto& value : kLoginValues)
        pavo_writeprop(value.name, login->*value.member);
    return 0;
}

// Open persists what login only keeps in memory; the asymmetry is kept.
int pavo_inner_writeback_open(const tpavo_result* result)
{
    const tpavo_openresponse* open = result->data.openresponse;
    if (const char* name = refused_member(open, kOpenValues, true))
        return refuse("open", name);
    pavo_setstate(PAVO_STATE_OPENED);
    for (const auto& value : kOpenValues)
        pavo_writeconfig("system", value.name, open->*value.member);
    return 0;
}

}  // extern "C"
