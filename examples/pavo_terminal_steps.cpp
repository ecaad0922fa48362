/*
 * pavo_terminal_steps.cpp - the steps of the example terminal session: the
 * application's own (work directory, start-up, server time, shut-down) and,
 * per platform request, the call and the procedure that reads its answer and
 * keeps what the next steps need. Run by pavo_terminal.cpp.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "pavo_terminal.h"

namespace {

// The library's own log goes to pavo.log in the work directory (log mode 2);
// around a dump the console bit is added so that the dump shows here too.
constexpr int kLogFileOnly = 2;
constexpr int kLogConsoleAndFile = 3;

const char* text(const char* value) { return value != nullptr ? value : "-"; }

const char* state_name(tpavo_state state)
{
    switch (state) {
    case PAVO_STATE_NONE:
        return "none";
    case PAVO_STATE_INITED:
        return "inited";
    case PAVO_STATE_OPENED:
        return "opened";
    case PAVO_STATE_LOGINED:
        return "logined";
    }
    return "unknown";
}

// A result that exists and whose platform code is not negative.
bool answered(const tpavo_result* result)
{
    if (result == nullptr) {
        printf("  no answer could be read\n");
        return false;
    }
    if (result->resultcode < 0) {
        printf("  platform refused: %d %s\n", result->resultcode, text(result->resultmsg));
        return false;
    }
    return true;
}

std::string property(const char* name)
{
    char value[256];
    pavo_readprop(name, value, sizeof value);
    return value;
}

void print_clips(const tpavo_videoclip* clip)
{
    for (; clip != nullptr; clip = clip->next)
        printf("      clip %s  %s  price %d%s%s\n", text(clip->videocode), text(clip->duration),
               clip->price, clip->canonlineplay ? "  online" : "",
               clip->candownload ? "  download" : "");
}

int count_clips(const tpavo_videoclip* clip)
{
    int count = 0;
    for (; clip != nullptr; clip = clip->next)
        ++count;
    return count;
}

}  // namespace

const char* event_name(int eventtype)
{
    switch (eventtype) {
    case EPAVO_OPEN:
        return "open";
    case EPAVO_LOGIN:
        return "login";
    case EPAVO_LOGOUT:
        return "logout";
    case EPAVO_RECHARGE:
        return "recharge";
    case EPAVO_QUERYCATEGORYLIST:
        return "category list";
    case EPAVO_QUERYCATEGORYITEMLIST:
        return "item list";
    case EPAVO_QUERYCATEGORYITEMDETAIL:
        return "item detail";
    case EPAVO_QUERYRELATEITEMLIST:
        return "related items";
    case EPAVO_QUERYSCHEDULELIST:
        return "schedules";
    case EPAVO_QUERYPLAYURL:
        return "play address";
    case EPAVO_QUERYEXTSERVICE:
        return "extended service";
    case EPAVO_RESOURCEDOWNLOAD:
        return "download";
    case EPAVO_UPGRADEOS:
        return "system upgrade";
    case EPAVO_UPGRADERES:
        return "resource upgrade";
    case EPAVO_STATUSREPORT:
        return "status report";
    }
    return "other";
}

bool show_answer(Session& session, const Step& step, const tpavo_result* result)
{
    if (result != nullptr) {
        pavo_setlogmode(kLogConsoleAndFile);
        pavo_dumpresult(const_cast<tpavo_result*>(result));
        pavo_setlogmode(kLogFileOnly);
    }
    return step.answer(session, result);
}

// ------------------------------------------------------------ local steps

bool prepare_workdir(Session& session)
{
    std::string& workdir = session.options.workdir;
    if (workdir.empty()) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "pavo-terminal-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            perror("mkdtemp");
            return false;
        }
        workdir = pattern;
        session.own_workdir = true;
    }
    printf("  work directory: %s\n", workdir.c_str());

    // A terminal keeps its configuration and its log in its work directory;
    // an existing korix.conf is the terminal's own and is left as it is.
    std::string conf = workdir + "/korix.conf";
    struct stat info;
    if (stat(conf.c_str(), &info) == 0)
        return true;
    std::ofstream out(conf, std::ios::binary);
    out << "[system]\nlogmode=" << kLogFileOnly << "\nlogdirectory=" << workdir << "\n";
    out.close();
    if (!out) {
        fprintf(stderr, "cannot write %s\n", conf.c_str());
        return false;
    }
    return true;
}

bool start_library(Session& session)
{
    Options& o = session.options;
    pavo_init_param param;
    memset(&param, 0, sizeof param);
    param.oem_name = o.oem.data();
    param.terminal_type = o.terminal.data();
    param.device_id = o.device.data();
    param.chipprofile = o.chip.data();
    param.clientprofile = o.client.data();
    param.workdirectory = o.workdir.data();
    param.perpetualdirectory = o.workdir.data();
    param.tmpdirectory = o.workdir.data();
    param.ipversion = o.ipversion;

    pavo_status_t status = pavo_init(&param);
    if (status != PAVO_STATUS_SUCCESS) {
        fprintf(stderr, "pavo_init failed: %d\n", status);
        return false;
    }
    session.started = true;
    pavo_setlogmode(kLogFileOnly);
    printf("  library log: %s/pavo.log\n", o.workdir.c_str());
    return pavo_getstate() == PAVO_STATE_INITED;
}

// The platform's opening address goes into korix.conf, where every later
// start-up finds it; pavo_writeconfig also sets the property at once.
bool point_at_platform(Session& session)
{
    std::string openurl = session.options.platform + "/Open";
    pavo_writeconfig("system", "openurl", openurl.c_str());
    printf("  openurl=%s\n", property("openurl").c_str());
    return property("openurl") == openurl;
}

bool show_terminal(Session& session)
{
    char ip[64];
    if (pavo_getip(ip, sizeof ip) != 0)
        return false;
    printf("  TVID: %s\n", property("tvid").c_str());
    printf("  terminal profile: %s\n", property("tvprofile").c_str());
    printf("  IP address: %s\n", ip[0] != '\0' ? ip : "(none found)");
    if (!session.options.platform.empty())
        printf("  platform: %s\n", session.options.platform.c_str());
    printf("  state: %s\n", state_name(pavo_getstate()));
    return true;
}

// A terminal that opened its account before finds its user id in korix.conf
// and may log in at once; a new one has none yet. Either is fine.
bool query_stored_account(Session&)
{
    if (pavo_query_status() == PAVO_STATUS_SUCCESS)
        printf("  stored account %s: state %s\n", property("userid").c_str(),
               state_name(pavo_getstate()));
    else
        printf("  no stored account: state %s\n", state_name(pavo_getstate()));
    return true;
}

bool show_server_time(Session&)
{
    struct timeval now;
    memset(&now, 0, sizeof now);
    if (pavo_get_time(&now) != 0)
        return false;
    char stamp[32] = "";
    time_t seconds = now.tv_sec;
    struct tm local;
    if (localtime_r(&seconds, &local) != nullptr)
        strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    printf("  server time at login: %s (%ld)\n", stamp, static_cast<long>(now.tv_sec));
    return now.tv_sec != 0;
}

bool stop_library(Session& session)
{
    if (!session.started)
        return true;
    session.started = false;
    if (pavo_cleanup() != PAVO_STATUS_SUCCESS)
        return false;
    printf("  state: %s\n", state_name(pavo_getstate()));
    return pavo_getstate() == PAVO_STATE_NONE;
}

bool remove_scratch_workdir(Session& session)
{
    if (!session.own_workdir)
        return true;
    std::error_code error;
    std::filesystem::remove_all(session.options.workdir, error);
    return !error;
}

// ------------------------------------------------------- account requests

// By terminal code the platform finds the account bound to this TVID, and the
// authenticator names the TVID as the opening user.
pavo_status_t request_open(Session&, unsigned eventid)
{
    std::string tvid = property("tvid");
    return pavo_open(eventid, OPENMODE_STBCODE, tvid.c_str(), nullptr);
}

bool answer_open(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.openresponse == nullptr)
        return false;
    const tpavo_openresponse* account = result->data.openresponse;
    printf("  account %s opened: %s, %s; state %s\n", text(account->userid),
           text(account->nickname), text(account->accountdesc), state_name(pavo_getstate()));
    return pavo_getstate() == PAVO_STATE_OPENED;
}

pavo_status_t request_login(Session&, unsigned eventid) { return pavo_login(eventid); }

bool answer_login(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.loginresponse == nullptr)
        return false;
    const tpavo_loginresponse* login = result->data.loginresponse;
    printf("  logged in as %s (group %s, level %s), %d points until %s; state %s\n",
           text(login->userid), text(login->usergroup), text(login->userlevel),
           login->validpoints, text(login->actexpireddate), state_name(pavo_getstate()));
    return pavo_getstate() == PAVO_STATE_LOGINED;
}

pavo_status_t request_recharge(Session&, unsigned eventid)
{
    // A number of points; the platform also takes its once-only vouchers.
    return pavo_recharge(eventid, 1, "100");
}

bool answer_recharge(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.rechargeresponse == nullptr)
        return false;
    printf("  recharged: %d points until %s\n", result->data.rechargeresponse->validpoints,
           text(result->data.rechargeresponse->actexpireddate));
    return true;
}

pavo_status_t request_logout(Session&, unsigned eventid) { return pavo_logout(eventid); }

bool answer_logout(Session&, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    printf("  logged out (the library keeps state %s)\n", state_name(pavo_getstate()));
    return true;
}

// ---------------------------------------------------------- the catalogue

pavo_status_t request_categories(Session&, unsigned eventid)
{
    return pavo_querycategorylist(eventid, "", 1, 50);
}

bool answer_categories(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    for (const tpavo_category* c = result->data.categorylistresponse; c != nullptr; c = c->next) {
        printf("  category %s %s%s\n", text(c->code), text(c->name),
               c->haschild ? " (has sub-categories)" : "");
        if (c->haschild && session.parent_category.empty() && c->code != nullptr)
            session.parent_category = c->code;
        if (c->type == PAVO_ITEMTYPE_CHANNEL && session.live_category.empty() &&
            c->code != nullptr)
            session.live_category = c->code;
    }
    return !session.parent_category.empty() && !session.live_category.empty();
}

pavo_status_t request_subcategories(Session& session, unsigned eventid)
{
    return pavo_querycategorylist(eventid, session.parent_category.c_str(), 1, 50);
}

bool answer_subcategories(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    for (const tpavo_category* c = result->data.categorylistresponse; c != nullptr; c = c->next) {
        printf("  %s > %s %s\n", session.parent_category.c_str(), text(c->code), text(c->name));
        if (session.item_category.empty() && c->code != nullptr)
            session.item_category = c->code;
    }
    return !session.item_category.empty();
}

pavo_status_t request_programmes(Session& session, unsigned eventid)
{
    return pavo_querycategoryitemlist(eventid, session.item_category.c_str(), 1, 50, 1);
}

bool answer_programmes(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    for (const tpavo_item* item = result->data.itemlistresponse; item != nullptr;
         item = item->next) {
        if (item->type != PAVO_ITEMTYPE_PROGRAM || item->detail.program == nullptr)
            continue;
        const tpavo_program* programme = item->detail.program;
        printf("  programme %s \"%s\" by %s, %s\n", text(programme->code), text(programme->name),
               text(programme->director), text(programme->language));
        print_clips(programme->pvideoclip);
        if (session.programme.empty() && programme->code != nullptr &&
            programme->pvideoclip != nullptr && programme->pvideoclip->videocode != nullptr) {
            session.programme = programme->code;
            session.clip = programme->pvideoclip->videocode;
        }
    }
    return !session.programme.empty();
}

pavo_status_t request_related(Session& session, unsigned eventid)
{
    return pavo_queryrelateitemlist(eventid, PAVO_ITEMTYPE_PROGRAM, session.programme.c_str(), 0,
                                    0, 1, 20);
}

bool answer_related(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    printf("  related to %s (datatype %d):", session.programme.c_str(), result->datatype);
    for (const tpavo_item* item = result->data.itemlistresponse; item != nullptr;
         item = item->next)
        printf(" %s \"%s\";", text(item->code), text(item->name));
    printf("\n");
    return true;
}

pavo_status_t request_detail(Session& session, unsigned eventid)
{
    return pavo_queryitemdetail(eventid, session.item_category.c_str(), PAVO_ITEMTYPE_PROGRAM,
                                session.programme.c_str());
}

bool answer_detail(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.itemdetailresponse == nullptr)
        return false;
    const tpavo_item* item = result->data.itemdetailresponse;
    const tpavo_program* programme = item->detail.program;
    if (item->type != PAVO_ITEMTYPE_PROGRAM || programme == nullptr)
        return false;
    printf("  %s \"%s\": %s; with %s; rated %s; %d clip(s)\n", text(programme->code),
           text(programme->name), text(programme->desc), text(programme->actor),
           text(programme->ratinglevel), count_clips(programme->pvideoclip));
    return true;
}

pavo_status_t request_channels(Session& session, unsigned eventid)
{
    return pavo_querycategoryitemlist(eventid, session.live_category.c_str(), 1, 50, 0);
}

bool answer_channels(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    for (const tpavo_item* item = result->data.itemlistresponse; item != nullptr;
         item = item->next) {
        printf("  channel %s %s\n", text(item->code), text(item->name));
        if (session.channel.empty() && item->type == PAVO_ITEMTYPE_CHANNEL &&
            item->code != nullptr)
            session.channel = item->code;
    }
    return !session.channel.empty();
}

pavo_status_t request_schedules(Session& session, unsigned eventid)
{
    // No date bounds: the channel's whole schedule.
    return pavo_queryschedulelist(eventid, session.channel.c_str(), "", "", 1, 50);
}

bool answer_schedules(Session& session, const tpavo_result* result)
{
    if (!answered(result))
        return false;
    int count = 0;
    for (const tpavo_schedule* s = result->data.schedulelistresponse; s != nullptr; s = s->next) {
        printf("  %s  %s - %s  %s\n", session.channel.c_str(), text(s->starttime),
               text(s->endtime), text(s->name));
        ++count;
    }
    return count > 0;
}

pavo_status_t request_play(Session& session, unsigned eventid)
{
    return pavo_queryplayurl(eventid, session.item_category.c_str(), PAVO_ITEMTYPE_PROGRAM,
                             session.programme.c_str(), session.clip.c_str(),
                             SERVICETYPE_ONLINEPLAY, "", "");
}

bool answer_play(Session& session, const tpavo_result* result)
{
    if (!answered(result) || result->data.playresponse == nullptr ||
        result->data.playresponse->playurl == nullptr)
        return false;
    printf("  play %s at %s\n", session.clip.c_str(), result->data.playresponse->playurl);
    return true;
}

pavo_status_t request_extended(Session&, unsigned eventid)
{
    return pavo_queryextendservice(eventid, "weather", "city=Harbour City");
}

bool answer_extended(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.extserviceresponse == nullptr)
        return false;
    // The answer is handed over raw: datasize bytes, no terminating NUL.
    printf("  extended service answered %u bytes\n", result->datasize);
    return true;
}

// ----------------------------------------------------------- maintenance

pavo_status_t request_upgrade_os(Session&, unsigned eventid) { return pavo_upgradeos(eventid); }

bool answer_upgrade_os(Session&, const tpavo_result* result)
{
    if (!answered(result) || result->data.upgradeosresponse == nullptr)
        return false;
    const tpavo_upgradeosresponse* offer = result->data.upgradeosresponse;
    printf("  system image %s offered (mode %d): %s\n", text(offer->lastedversion),
           offer->upgrademode, text(offer->fileurl));
    return true;
}

pavo_status_t request_upgrade_res(Session&, unsigned eventid) { return pavo_upgraderes(eventid); }

bool answer_upgrade_res(Session& session, const tpavo_result* result)
{
    if (!answered(result) || result->data.upgraderesresponse == nullptr)
        return false;
    const tpavo_upgraderesresponse* offer = result->data.upgraderesresponse;
    printf("  resources %s offered (mode %d): %s\n", text(offer->lastedversion),
           offer->updatemode, text(offer->fileurl));
    if (offer->fileurl == nullptr || offer->filehash == nullptr)
        return false;
    session.resource_url = offer->fileurl;
    session.resource_hash = offer->filehash;
    return true;
}

pavo_status_t request_download(Session& session, unsigned eventid)
{
    std::string name = session.resource_url.substr(session.resource_url.rfind('/') + 1);
    session.resource_file = session.options.workdir + "/" + name;
    return pavo_downloadresource(eventid, session.resource_url.c_str(),
                                 session.resource_file.c_str());
}

// Whether to trust the file is the application's decision: it must hash to
// the FileHash the platform offered it with.
bool answer_download(Session& session, const tpavo_result* result)
{
    // Synchronously a bare result with the HTTP status; the asynchronous
    // event carries none.
    if (result != nullptr && (result->resultcode != 0 || result->httpretcode != 200))
        return false;
    unsigned char digest[20];
    if (pavo_sha1file(session.resource_file.c_str(), digest) != 0) {
        printf("  cannot read %s\n", session.resource_file.c_str());
        return false;
    }
    char hash_text[2 * sizeof digest + 1];
    pavo_stringToHex(reinterpret_cast<char*>(digest), sizeof digest, hash_text);
    std::string hash = hash_text;
    std::error_code error;
    auto size = std::filesystem::file_size(session.resource_file, error);
    printf("  downloaded %s (%llu bytes), SHA-1 %s %s FileHash\n", session.resource_file.c_str(),
           static_cast<unsigned long long>(error ? 0 : size), hash.c_str(),
           hash == session.resource_hash ? "matches" : "DOES NOT MATCH");
    return hash == session.resource_hash;
}

pavo_status_t request_report(Session&, unsigned eventid) { return pavo_statusreport(eventid); }

// The report's answer is never parsed: there is nothing to read but the
// request's own status.
bool answer_report(Session&, const tpavo_result*)
{
    printf("  status reported\n");
    return true;
}
