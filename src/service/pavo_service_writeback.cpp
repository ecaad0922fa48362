/*
 * pavo_service_writeback.cpp - what a successful open or login answer writes
 * into the session: the state and the properties (login) or the persisted
 * account values (open). Named by the rows of the request table and run by
 * pavo_inner_finishrequest in both modes.
 */
#include "service/pavo_global.h"
#include "service/pavo_service_props.h"

namespace {

// A text member of an answer record and the property (or configuration
// key) of the same name that it is written to.
template <typename Record>
struct NamedMember {
    const char* name;
    char* Record::*member;
};

// The login record's values, written to the session properties in this order.
constexpr NamedMember<tpavo_loginresponse> kLoginValues[] = {
    {"usertoken", &tpavo_loginresponse::usertoken},
    {"usergroup", &tpavo_loginresponse::usergroup},
    {"aaasrvaddress", &tpavo_loginresponse::aaasrvaddress},
    {"aaasrvaddress2", &tpavo_loginresponse::aaasrvaddress2},
    {"serverauthenticator", &tpavo_loginresponse::serverauthenticator},
    {"userlevel", &tpavo_loginresponse::userlevel},
    {"actexpireddate", &tpavo_loginresponse::actexpireddate},
    {"epgsrvaddress", &tpavo_loginresponse::epgsrvaddress},
    {"epgsrvaddress2", &tpavo_loginresponse::epgsrvaddress2},
    {"playsrvaddress", &tpavo_loginresponse::playsrvaddress},
    {"playsrvaddress2", &tpavo_loginresponse::playsrvaddress2},
    {"upgradesrvaddress", &tpavo_loginresponse::upgradesrvaddress},
    {"upgradesrvaddress2", &tpavo_loginresponse::upgradesrvaddress2},
    {"imgsrvaddress", &tpavo_loginresponse::imgsrvaddress},
    {"serviceaddress", &tpavo_loginresponse::serviceaddress},
    {"drmsrvaddress", &tpavo_loginresponse::drmsrvaddress},
    {"drmsrvaddress2", &tpavo_loginresponse::drmsrvaddress2},
};

// The open record's values, persisted in korix.conf (and so also set as
// properties) in this order.
constexpr NamedMember<tpavo_openresponse> kOpenValues[] = {
    {"userid", &tpavo_openresponse::userid},
    {"aaasrvaddress", &tpavo_openresponse::aaasrvaddress},
    {"aaasrvaddress2", &tpavo_openresponse::aaasrvaddress2},
};

}  // namespace

extern "C" {

void pavo_inner_writeback_login(const tpavo_result* result)
{
    pavo_setstate(PAVO_STATE_LOGINED);
    for (const auto& value : kLoginValues)
        pavo_writeprop(value.name, result->data.loginresponse->*value.member);
}

// Open persists what login only keeps in memory; the asymmetry is kept.
void pavo_inner_writeback_open(const tpavo_result* result)
{
    pavo_setstate(PAVO_STATE_OPENED);
    for (const auto& value : kOpenValues)
        pavo_writeconfig("system", value.name, result->data.openresponse->*value.member);
}

}  // extern "C"
