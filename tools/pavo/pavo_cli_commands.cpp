/*
 * pavo_cli_commands.cpp - the subcommands of `pavo`: per row the library call
 * it makes, its arguments with their defaults, its help, and the printer that
 * turns its result record into JSON (member names as in pavo.h).
 */
#include <string.h>
#include <sys/time.h>

#include "pavo_cli.h"

using nlohmann::json;

namespace {

json text(const char* value) { return value != nullptr ? json(value) : json(nullptr); }

json clips(const tpavo_videoclip* c)
{
    json list = json::array();
    for (; c != nullptr; c = c->next)
        list.push_back({{"videocode", text(c->videocode)},
                        {"itemcode", text(c->itemcode)},
                        {"type", c->type},
                        {"episodeindex", c->episodeindex},
                        {"price", c->price},
                        {"filesize", c->filesize},
                        {"duration", text(c->duration)},
                        {"isdrm", c->isdrm != 0},
                        {"candownload", c->candownload != 0},
                        {"canonlineplay", c->canonlineplay != 0},
                        {"resolution", c->resolution}});
    return list;
}

json programme(const tpavo_program* p)
{
    return {{"code", text(p->code)},
            {"name", text(p->name)},
            {"type", p->type},
            {"episodenum", p->episodenum},
            {"actor", text(p->actor)},
            {"director", text(p->director)},
            {"region", text(p->region)},
            {"language", text(p->language)},
            {"programtype", text(p->programtype)},
            {"keywords", text(p->keywords)},
            {"ratinglevel", text(p->ratinglevel)},
            {"desc", text(p->desc)},
            {"status", p->status},
            {"videoclips", clips(p->pvideoclip)}};
}

json channel(const tpavo_channel* c)
{
    return {{"code", text(c->code)},
            {"name", text(c->name)},
            {"desc", text(c->desc)},
            {"type", c->type},
            {"timeshiftduration", c->timeshiftduration},
            {"videoclips", clips(c->pvideoclip)}};
}

json schedules(const tpavo_schedule* s)
{
    json list = json::array();
    for (; s != nullptr; s = s->next)
        list.push_back({{"name", text(s->name)},
                        {"channelcode", text(s->channelcode)},
                        {"desc", text(s->desc)},
                        {"starttime", text(s->starttime)},
                        {"endtime", text(s->endtime)}});
    return list;
}

json item(const tpavo_item* i)
{
    json out = {
        {"type", i->type},       {"code", text(i->code)}, {"parentcode", text(i->parentcode)},
        {"name", text(i->name)}, {"desc", text(i->desc)}, {"summary", text(i->summary)},
        {"flag", i->flag}};
    if (i->type == PAVO_ITEMTYPE_PROGRAM && i->detail.program != nullptr)
        out["program"] = programme(i->detail.program);
    if (i->type == PAVO_ITEMTYPE_CHANNEL && i->detail.channel != nullptr)
        out["channel"] = channel(i->detail.channel);
    if (i->type == PAVO_ITEMTYPE_SCHEDULE && i->detail.schedule != nullptr)
        out["schedules"] = schedules(i->detail.schedule);
    return out;
}

json categories(const tpavo_category* c)
{
    json list = json::array();
    for (; c != nullptr; c = c->next) {
        json one = {{"code", text(c->code)},
                    {"parentcode", text(c->parentcode)},
                    {"name", text(c->name)},
                    {"desc", text(c->desc)},
                    {"templatecode", text(c->templatecode)},
                    {"type", c->type},
                    {"haschild", c->haschild != 0}};
        if (c->psubcat != nullptr)
            one["subcategories"] = categories(c->psubcat);
        list.push_back(one);
    }
    return list;
}

// ------------------------------------------------- printers, one per answer

json print_none(const tpavo_result*, const CliArgs&) { return json::object(); }

json print_open(const tpavo_result* r, const CliArgs&)
{
    const tpavo_openresponse* o = r->data.openresponse;
    return {{"userid", text(o->userid)},
            {"nickname", text(o->nickname)},
            {"accountdesc", text(o->accountdesc)},
            {"aaasrvaddress", text(o->aaasrvaddress)},
            {"aaasrvaddress2", text(o->aaasrvaddress2)}};
}

json print_login(const tpavo_result* r, const CliArgs&)
{
    const tpavo_loginresponse* l = r->data.loginresponse;
    return {{"userid", text(l->userid)},
            {"usertoken", text(l->usertoken)},
            {"usergroup", text(l->usergroup)},
            {"userlevel", text(l->userlevel)},
            {"validpoints", l->validpoints},
            {"actexpireddate", text(l->actexpireddate)},
            {"epgsrvaddress", text(l->epgsrvaddress)},
            {"playsrvaddress", text(l->playsrvaddress)},
            {"upgradesrvaddress", text(l->upgradesrvaddress)},
            {"serviceaddress", text(l->serviceaddress)},
            {"forcedupgrade", l->forcedupgrade}};
}

json print_recharge(const tpavo_result* r, const CliArgs&)
{
    const tpavo_rechargeresponse* c = r->data.rechargeresponse;
    return {{"validpoints", c->validpoints}, {"actexpireddate", text(c->actexpireddate)}};
}

json print_categories(const tpavo_result* r, const CliArgs&)
{
    return categories(r->data.categorylistresponse);
}

json print_items(const tpavo_result* r, const CliArgs&)
{
    json list = json::array();
    for (const tpavo_item* i = r->data.itemlistresponse; i != nullptr; i = i->next)
        list.push_back(item(i));
    return list;
}

json print_item(const tpavo_result* r, const CliArgs&)
{
    return r->data.itemdetailresponse != nullptr ? item(r->data.itemdetailresponse) : json();
}

json print_schedules(const tpavo_result* r, const CliArgs&)
{
    return schedules(r->data.schedulelistresponse);
}

json print_play(const tpavo_result* r, const CliArgs&)
{
    return {{"playurl", text(r->data.playresponse->playurl)}};
}

// The extended service's answer is handed over raw: datasize bytes, no NUL.
json print_service(const tpavo_result* r, const CliArgs&)
{
    return std::string(r->data.extserviceresponse, r->datasize);
}

template <typename Offer>
json offer(const Offer* o, int mode)
{
    return {{"mode", mode},
            {"lastedversion", text(o->lastedversion)},
            {"fileurl", text(o->fileurl)},
            {"filehash", text(o->filehash)}};
}

json print_upgrade_os(const tpavo_result* r, const CliArgs&)
{
    return offer(r->data.upgradeosresponse, r->data.upgradeosresponse->upgrademode);
}

json print_upgrade_res(const tpavo_result* r, const CliArgs&)
{
    return offer(r->data.upgraderesresponse, r->data.upgraderesresponse->updatemode);
}

json print_download(const tpavo_result*, const CliArgs& args)
{
    return {{"file", args.values[1]}};
}

// The server's clock as epoch seconds and as ISO 8601 in UTC.
json print_time(const tpavo_result*, const CliArgs&)
{
    struct timeval now;
    memset(&now, 0, sizeof now);
    pavo_get_time(&now);
    char iso[32] = "";
    struct tm utc;
    time_t seconds = now.tv_sec;
    if (gmtime_r(&seconds, &utc) != nullptr)
        strftime(iso, sizeof iso, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return {{"servertime", static_cast<long long>(now.tv_sec)}, {"iso8601", iso}};
}

json print_report(const tpavo_result*, const CliArgs&) { return {{"report", "sent"}}; }

std::string property(const char* name)
{
    char value[256];
    pavo_readprop(name, value, sizeof value);
    return value;
}

json print_status(const tpavo_result*, const CliArgs&)
{
    char ip[64] = "";
    pavo_getip(ip, sizeof ip);
    return {{"state", cli_state_name(pavo_getstate())},
            {"userid", property("userid")},
            {"tvid", property("tvid")},
            {"tvprofile", property("tvprofile")},
            {"openurl", property("openurl")},
            {"ip", ip},
            {"workdirectory", property("workdirectory")}};
}

// --------------------------------------------------------------- requests

pavo_status_t open_account(unsigned id, const CliArgs& a)
{
    // Without a card the platform finds the account bound to this terminal.
    if (a.values[0].empty())
        return pavo_open(id, OPENMODE_STBCODE, property("tvid").c_str(), nullptr);
    return pavo_open(id, OPENMODE_USERCARD, a.text(0), nullptr);
}
pavo_status_t login(unsigned id, const CliArgs&) { return pavo_login(id); }
pavo_status_t logout(unsigned id, const CliArgs&) { return pavo_logout(id); }
pavo_status_t recharge(unsigned id, const CliArgs& a)
{
    return pavo_recharge(id, a.number(1), a.text(0));
}
pavo_status_t category_list(unsigned id, const CliArgs& a)
{
    return pavo_querycategorylist(id, a.text(0), a.number(1), a.number(2));
}
pavo_status_t item_list(unsigned id, const CliArgs& a)
{
    return pavo_querycategoryitemlist(id, a.text(0), a.number(1), a.number(2), a.number(3));
}
pavo_status_t related_list(unsigned id, const CliArgs& a)
{
    return pavo_queryrelateitemlist(id, a.number(1), a.text(0), a.number(2), a.number(3),
                                    a.number(4), a.number(5));
}
pavo_status_t item_detail(unsigned id, const CliArgs& a)
{
    return pavo_queryitemdetail(id, a.text(0), static_cast<tpavo_itemtype_t>(a.number(2)),
                                a.text(1));
}
pavo_status_t schedule_list(unsigned id, const CliArgs& a)
{
    return pavo_queryschedulelist(id, a.text(0), a.text(1), a.text(2), a.number(3), a.number(4));
}
pavo_status_t play_address(unsigned id, const CliArgs& a)
{
    return pavo_queryplayurl(id, a.text(0), static_cast<tpavo_itemtype_t>(a.number(3)), a.text(1),
                             a.text(2), static_cast<tpavo_servicetype>(a.number(4)), a.text(5),
                             a.text(6));
}
pavo_status_t extended_service(unsigned id, const CliArgs& a)
{
    return pavo_queryextendservice(id, a.text(0), a.text(1));
}
pavo_status_t upgrade_os(unsigned id, const CliArgs&) { return pavo_upgradeos(id); }
pavo_status_t upgrade_res(unsigned id, const CliArgs&) { return pavo_upgraderes(id); }
pavo_status_t download(unsigned id, const CliArgs& a)
{
    return pavo_downloadresource(id, a.text(0), a.text(1));
}
pavo_status_t report(unsigned id, const CliArgs&) { return pavo_statusreport(id); }

}  // namespace

CliRequest cli_download_request() { return download; }

const char* cli_state_name(tpavo_state state)
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

const std::vector<CliCommand>& cli_commands()
{
    static const std::vector<CliCommand> kCommands = {
        {"open",
         open_account,
         {"CARD="},
         "Open the account of this terminal (by its terminal id), or of the user card CARD; "
         "the work directory keeps it for later calls.",
         print_open,
         kNeedNothing,
         0},
        {"login", login, {}, "Log in to the open account.", print_login, kNeedOpened, 0},
        {"logout",
         logout,
         {},
         "Log in, then log out (the platform ends the session).",
         print_none,
         kNeedLogined,
         0},
        {"recharge",
         recharge,
         {"PARAM", "TYPE=1"},
         "Recharge the account: PARAM is a voucher or a number of points.",
         print_recharge,
         kNeedLogined,
         0},
        {"categories",
         category_list,
         {"PARENT=", "PAGE=1", "SIZE=50"},
         "List the categories under PARENT (empty: the top level).",
         print_categories,
         kNeedLogined,
         0},
        {"items",
         item_list,
         {"CATEGORY", "PAGE=1", "SIZE=50", "DETAIL=1"},
         "List the items of CATEGORY, with programme or channel details unless DETAIL is 0.",
         print_items,
         kNeedLogined,
         0},
        {"related",
         related_list,
         {"CODE", "TYPE=1", "MODE=0", "DETAIL=0", "PAGE=1", "SIZE=20"},
         "List the items related to the item CODE of type TYPE (1 programme, 2 channel).",
         print_items,
         kNeedLogined,
         0},
        {"detail",
         item_detail,
         {"CATEGORY", "CODE", "TYPE=1"},
         "Show one item of CATEGORY with its details.",
         print_item,
         kNeedLogined,
         0},
        {"schedules",
         schedule_list,
         {"CHANNEL", "START=", "END=", "PAGE=1", "SIZE=50"},
         "List the schedule of CHANNEL between the dates START and END (empty: all).",
         print_schedules,
         kNeedLogined,
         0},
        {"play",
         play_address,
         {"CATEGORY", "CODE", "CLIP=", "TYPE=1", "SERVICE=0", "START=", "END="},
         "Ask for the play address of a clip (SERVICE 0 online play, 1 download).",
         print_play,
         kNeedLogined,
         0},
        {"service",
         extended_service,
         {"CODE", "PARAM="},
         "Call the extended service CODE with PARAM; prints its raw answer.",
         print_service,
         kNeedLogined,
         0},
        {"upgrade-os",
         upgrade_os,
         {},
         "Ask which system image the platform offers.",
         print_upgrade_os,
         kNeedLogined,
         0},
        {"upgrade-res",
         upgrade_res,
         {},
         "Ask which resource package the platform offers.",
         print_upgrade_res,
         kNeedLogined,
         0},
        {"download",
         download,
         {"URL", "FILE"},
         "Download URL into FILE, or to standard output when FILE is - (no account needed).",
         print_download,
         kNeedNothing,
         0},
        {"report",
         report,
         {},
         "Send the terminal's status report.",
         print_report,
         kNeedLogined,
         kNoResult},
        {"time",
         nullptr,
         {},
         "Log in and show the server time learnt at login.",
         print_time,
         kNeedLogined,
         0},
        {"status",
         nullptr,
         {},
         "Show the terminal, its stored account and the library state.",
         print_status,
         kNeedNothing,
         0},
    };
    return kCommands;
}
