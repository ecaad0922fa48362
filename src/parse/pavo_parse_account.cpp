/*
 * pavo_parse_account.cpp - the single-record answers (open, login, logout,
 * recharge, play address, system and resource upgrade) as field tables over
 * the frame of pavo_parse_frame.cpp, their free and dump procedures, and the
 * server clock g_servertime that the login answer sets. Reached via pavo_parse.
 */
#include "parse/pavo_parse_frame.h"
#include "xml/Markup.h"

extern "C" {
unsigned long g_servertime = 0;
}

namespace {

/* Reading order: the platform sends the elements in this order. */

constexpr pavo_field kOpenFields[] = {
    PAVO_FIELD(tpavo_openresponse, "ServerAuthenticator", serverauthenticator, text),
    PAVO_FIELD(tpavo_openresponse, "UserID", userid, text),
    PAVO_FIELD(tpavo_openresponse, "NickName", nickname, text),
    PAVO_FIELD(tpavo_openresponse, "AccountDesc", accountdesc, text),
    PAVO_FIELD(tpavo_openresponse, "AAASrvAddress", aaasrvaddress, text),
    PAVO_FIELD(tpavo_openresponse, "AAASrvAddress2", aaasrvaddress2, text),
};

// "SystemTime" follows these and goes to g_servertime, not to the record.
constexpr pavo_field kLoginFields[] = {
    PAVO_FIELD(tpavo_loginresponse, "ServerAuthenticator", serverauthenticator, text),
    PAVO_FIELD(tpavo_loginresponse, "UserToken", usertoken, text),
    PAVO_FIELD(tpavo_loginresponse, "UserID", userid, text),
    PAVO_FIELD(tpavo_loginresponse, "UserGroup", usergroup, text),
    PAVO_FIELD(tpavo_loginresponse, "UserLevel", userlevel, text),
    PAVO_FIELD(tpavo_loginresponse, "ValidPoints", validpoints, integer),
    PAVO_FIELD(tpavo_loginresponse, "ActExpiredDate", actexpireddate, text),
    PAVO_FIELD(tpavo_loginresponse, "AAASrvAddress", aaasrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "AAASrvAddress2", aaasrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, "EpgSrvAddress", epgsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "EpgSrvAddress2", epgsrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, "PlaySrvAddress", playsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "PlaySrvAddress2", playsrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, "UpgradeSrvAddress", upgradesrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "UpgradeSrvAddress2", upgradesrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, "IMGSrvAddress", imgsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "ServiceAddress", serviceaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "DRMSrvAddress", drmsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, "DRMSrvAddress2", drmsrvaddress2, text),
};

// The login dump skips validpoints and prints imgsrvaddress before the play
// addresses; tools reading the log expect exactly this order.
constexpr pavo_field kLoginDump[] = {
    PAVO_FIELD(tpavo_loginresponse, nullptr, serverauthenticator, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, usertoken, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, userid, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, usergroup, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, userlevel, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, actexpireddate, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, aaasrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, aaasrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, epgsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, epgsrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, imgsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, playsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, playsrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, upgradesrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, upgradesrvaddress2, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, serviceaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, drmsrvaddress, text),
    PAVO_FIELD(tpavo_loginresponse, nullptr, drmsrvaddress2, text),
};

constexpr pavo_field kRechargeFields[] = {
    PAVO_FIELD(tpavo_rechargeresponse, "ServerAuthenticator", serverauthenticator, text),
    PAVO_FIELD(tpavo_rechargeresponse, "ValidPoints", validpoints, integer),
    PAVO_FIELD(tpavo_rechargeresponse, "ActExpiredDate", actexpireddate, text),
};

constexpr pavo_field kPlayFields[] = {
    PAVO_FIELD(tpavo_playresponse, "PlayURL", playurl, text),
};

constexpr pavo_field kUpgradeOsFields[] = {
    PAVO_FIELD(tpavo_upgradeosresponse, "UpgradeMode", upgrademode, integer),
    PAVO_FIELD(tpavo_upgradeosresponse, "LastedVersion", lastedversion, text),
    PAVO_FIELD(tpavo_upgradeosresponse, "FileURL", fileurl, text),
    PAVO_FIELD(tpavo_upgradeosresponse, "FileHash", filehash, text),
};

constexpr pavo_field kUpgradeOsDump[] = {
    PAVO_FIELD(tpavo_upgradeosresponse, nullptr, lastedversion, text),
    PAVO_FIELD(tpavo_upgradeosresponse, nullptr, fileurl, text),
    PAVO_FIELD(tpavo_upgradeosresponse, nullptr, filehash, text),
    PAVO_FIELD(tpavo_upgradeosresponse, nullptr, upgrademode, integer),
};

// The resource answer says "UpdateMode" where the system answer says
// "UpgradeMode".
constexpr pavo_field kUpgradeResFields[] = {
    PAVO_FIELD(tpavo_upgraderesresponse, "UpdateMode", updatemode, integer),
    PAVO_FIELD(tpavo_upgraderesresponse, "LastedVersion", lastedversion, text),
    PAVO_FIELD(tpavo_upgraderesresponse, "FileURL", fileurl, text),
    PAVO_FIELD(tpavo_upgraderesresponse, "FileHash", filehash, text),
};

constexpr pavo_field kUpgradeResDump[] = {
    PAVO_FIELD(tpavo_upgraderesresponse, nullptr, lastedversion, text),
    PAVO_FIELD(tpavo_upgraderesresponse, nullptr, fileurl, text),
    PAVO_FIELD(tpavo_upgraderesresponse, nullptr, filehash, text),
    PAVO_FIELD(tpavo_upgraderesresponse, nullptr, updatemode, integer),
};

// A missing "SystemTime" leaves the child position on "DRMSrvAddress2",
// whose text is then read as the time. Kept on purpose: the login answer
// has always been read this way.
void read_server_time(CMarkup& xml, void*)
{
    xml.FindChildElem("SystemTime");
    char* text = pavo_copy_text(xml.GetChildData());
    pavo_relaxed_store(g_servertime, text != nullptr ? pavo_nsecstr2ulong(text) : 0UL);
    pavo_free(text);
}

constexpr size_t kNoNext = 0;

constexpr pavo_record_layout kOpenResponse = {
    "Response", sizeof(tpavo_openresponse), kNoNext, pavo_fields(kOpenFields), nullptr};
constexpr pavo_record_layout kLoginResponse = {
    "Response", sizeof(tpavo_loginresponse), kNoNext, pavo_fields(kLoginFields), read_server_time};
constexpr pavo_record_layout kRechargeResponse = {
    "Response", sizeof(tpavo_rechargeresponse), kNoNext, pavo_fields(kRechargeFields), nullptr};
constexpr pavo_record_layout kPlayResponse = {
    "Response", sizeof(tpavo_playresponse), kNoNext, pavo_fields(kPlayFields), nullptr};
constexpr pavo_record_layout kUpgradeOsResponse = {
    "Response", sizeof(tpavo_upgradeosresponse), kNoNext, pavo_fields(kUpgradeOsFields), nullptr};
constexpr pavo_record_layout kUpgradeResResponse = {"Response", sizeof(tpavo_upgraderesresponse),
                                                  kNoNext, pavo_fields(kUpgradeResFields),
                                                  nullptr};

/* The answer kinds. The logout answer is tagged as a recharge answer and the
 * resource upgrade as a system upgrade: requests and callers compare these
 * tags, so both stay as they are. */
constexpr pavo_answer_kind kOpenAnswer = {DATATYPE_OPENRESULT, free_openresult, dump_openresult,
                                          &kOpenResponse, nullptr};
constexpr pavo_answer_kind kLoginAnswer = {DATATYPE_LOGINRESULT, free_loginresult,
                                           dump_loginresult, &kLoginResponse, nullptr};
constexpr pavo_answer_kind kLogoutAnswer = {DATATYPE_RECHARGERESULT, free_logoutresult,
                                            dump_logoutresult, nullptr, nullptr};
constexpr pavo_answer_kind kRechargeAnswer = {DATATYPE_RECHARGERESULT, free_rechargeresult,
                                              dump_rechargeresult, &kRechargeResponse, nullptr};
constexpr pavo_answer_kind kPlayAnswer = {DATATYPE_QUERYPLAYURLRESULT, free_playresult,
                                          dump_playresult, &kPlayResponse, nullptr};
constexpr pavo_answer_kind kUpgradeOsAnswer = {DATATYPE_UPGRADEOSRESULT, free_upgradeosresult,
                                               dump_upgradeosresult, &kUpgradeOsResponse,
                                               nullptr};
constexpr pavo_answer_kind kUpgradeResAnswer = {DATATYPE_UPGRADEOSRESULT, free_upgraderesresult,
                                                dump_upgraderesresult, &kUpgradeResResponse,
                                                nullptr};

}  // namespace

extern "C" {

tpavo_result* pavo_parseopenresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kOpenAnswer);
}

tpavo_result* pavo_parseloginresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kLoginAnswer);
}

tpavo_result* pavo_parselogoutresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kLogoutAnswer);
}

tpavo_result* pavo_parserechargeresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kRechargeAnswer);
}

tpavo_result* pavo_parseplayurlresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kPlayAnswer);
}

tpavo_result* pavo_parseupgradeosresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kUpgradeOsAnswer);
}

tpavo_result* pavo_parseupgraderesresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kUpgradeResAnswer);
}

/* Free procedures: the text fields of the reading table and the record. */

void free_openresult(void* result) { pavo_free_record_result(result, pavo_fields(kOpenFields)); }

void free_loginresult(void* result) { pavo_free_record_result(result, pavo_fields(kLoginFields)); }

void free_logoutresult(void* result) { pavo_free_record_result(result, {nullptr, 0}); }

void free_rechargeresult(void* result)
{
    pavo_free_record_result(result, pavo_fields(kRechargeFields));
}

void free_playresult(void* result) { pavo_free_record_result(result, pavo_fields(kPlayFields)); }

void free_upgradeosresult(void* result)
{
    pavo_free_record_result(result, pavo_fields(kUpgradeOsFields));
}

void free_upgraderesresult(void* result)
{
    pavo_free_record_result(result, pavo_fields(kUpgradeResFields));
}

/* Dump procedures */

void dump_openresult(void* result)
{
    pavo_dump_record_result(result, "openresponse", pavo_fields(kOpenFields));
}

void dump_loginresult(void* result)
{
    pavo_dump_record_result(result, "loginresponse", pavo_fields(kLoginDump));
}

void dump_logoutresult(void* result)
{
    pavo_dump_record_result(result, "logoutresponse", {nullptr, 0});
}

void dump_rechargeresult(void* result)
{
    pavo_dump_record_result(result, "rechargeresponse", pavo_fields(kRechargeFields));
}

void dump_playresult(void* result)
{
    pavo_dump_record_result(result, "playresponse", pavo_fields(kPlayFields));
}

void dump_upgradeosresult(void* result)
{
    pavo_dump_record_result(result, "upgradeosresponse", pavo_fields(kUpgradeOsDump));
}

void dump_upgraderesresult(void* result)
{
    pavo_dump_record_result(result, "upgraderesresponse", pavo_fields(kUpgradeResDump));
}

}  // extern "C"
