/*
 * pavo_parse_kinds.cpp - every data type in one table: the fields each answer
 * and record reads, owns and prints, its layout, how pavo_parse reads it and
 * the dump's lines around it; and the exported parse, free, copy and dump
 * procedures of each kind, made from the table by one template.
 */
#include "parse/pavo_parse_frame.h"

namespace {

/* Fields in reading order: the platform sends the elements in this order.
 * Dump tables list what a dump prints where it differs from the reading. */

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

constexpr pavo_field kCategoryFields[] = {
    PAVO_FIELD(tpavo_category, "Code", code, text),
    PAVO_FIELD(tpavo_category, "ParentCode", parentcode, text),
    PAVO_FIELD(tpavo_category, "Name", name, text),
    PAVO_FIELD(tpavo_category, "Desc", desc, text),
    PAVO_FIELD(tpavo_category, "Icon1", icon1, text),
    PAVO_FIELD(tpavo_category, "Icon2", icon2, text),
    PAVO_FIELD(tpavo_category, "BKImage1", bgimage1, text),
    PAVO_FIELD(tpavo_category, "BKImage2", bgimage2, text),
    PAVO_FIELD(tpavo_category, "HasChild", haschild, flag),
    PAVO_FIELD(tpavo_category, "Type", type, integer),
    PAVO_FIELD(tpavo_category, "TemplateCode", templatecode, text),
};

constexpr pavo_field kCategoryDump[] = {
    PAVO_FIELD(tpavo_category, nullptr, code, text),
    PAVO_FIELD(tpavo_category, nullptr, parentcode, text),
    PAVO_FIELD(tpavo_category, nullptr, name, text),
    PAVO_FIELD(tpavo_category, nullptr, desc, text),
    PAVO_FIELD(tpavo_category, nullptr, icon1, text),
    PAVO_FIELD(tpavo_category, nullptr, icon2, text),
    PAVO_FIELD(tpavo_category, nullptr, bgimage1, text),
    PAVO_FIELD(tpavo_category, nullptr, bgimage2, text),
    PAVO_FIELD(tpavo_category, nullptr, templatecode, text),
    PAVO_FIELD(tpavo_category, nullptr, type, integer),
    PAVO_FIELD(tpavo_category, nullptr, haschild, flag),
};

constexpr pavo_field kScheduleFields[] = {
    PAVO_FIELD(tpavo_schedule, "Name", name, text),
    PAVO_FIELD(tpavo_schedule, "ChannelCode", channelcode, text),
    PAVO_FIELD(tpavo_schedule, "Desc", desc, text),
    PAVO_FIELD(tpavo_schedule, "StartTime", starttime, text),
    PAVO_FIELD(tpavo_schedule, "EndTime", endtime, text),
};

// "AudioType" is read twice, into both audio fields; clients compare them.
constexpr pavo_field kClipFields[] = {
    PAVO_FIELD(tpavo_videoclip, "Type", type, integer),
    PAVO_FIELD(tpavo_videoclip, "VideoCode", videocode, text),
    PAVO_FIELD(tpavo_videoclip, "EpisodeIndex", episodeindex, integer),
    PAVO_FIELD(tpavo_videoclip, "OrderCode", ordercode, integer),
    PAVO_FIELD(tpavo_videoclip, "Price", price, integer),
    PAVO_FIELD(tpavo_videoclip, "FileSize", filesize, int64),
    PAVO_FIELD(tpavo_videoclip, "Duration", duration, text),
    PAVO_FIELD(tpavo_videoclip, "AudioType", audiofieldtype, integer),
    PAVO_FIELD(tpavo_videoclip, "IsDRM", isdrm, flag),
    PAVO_FIELD(tpavo_videoclip, "CanDownload", candownload, flag),
    PAVO_FIELD(tpavo_videoclip, "CanOnlinePlay", canonlineplay, flag),
    PAVO_FIELD(tpavo_videoclip, "ScreenFormat", screenformat, integer),
    PAVO_FIELD(tpavo_videoclip, "Captioning", captioning, integer),
    PAVO_FIELD(tpavo_videoclip, "BitRateType", bitratetype, integer),
    PAVO_FIELD(tpavo_videoclip, "VideoType", videotype, integer),
    PAVO_FIELD(tpavo_videoclip, "AudioType", audiotype, integer),
    PAVO_FIELD(tpavo_videoclip, "Resolution", resolution, integer),
};

// What a clip copy carries, and so what a clip owns. bitratetype is left
// out of copies on purpose: copied clips report 0.
constexpr pavo_field kClipCopyFields[] = {
    PAVO_FIELD(tpavo_videoclip, nullptr, itemtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, type, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, episodeindex, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, ordercode, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, price, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, filesize, int64),
    PAVO_FIELD(tpavo_videoclip, nullptr, audiofieldtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, captioning, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, isdrm, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, candownload, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, canonlineplay, flag),
    PAVO_FIELD(tpavo_videoclip, nullptr, screenformat, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, videotype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, audiotype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, resolution, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, itemcode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, videocode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, duration, text),
};

constexpr pavo_field kClipDump[] = {
    PAVO_FIELD(tpavo_videoclip, nullptr, itemcode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, itemtype, integer),
    PAVO_FIELD(tpavo_videoclip, nullptr, videocode, text),
    PAVO_FIELD(tpavo_videoclip, nullptr, duration, text),
};

constexpr pavo_field kProgramFields[] = {
    PAVO_FIELD(tpavo_program, "Code", code, text),
    PAVO_FIELD(tpavo_program, "Name", name, text),
    PAVO_FIELD(tpavo_program, "Type", type, integer),
    PAVO_FIELD(tpavo_program, "EpisodeNum", episodenum, integer),
    PAVO_FIELD(tpavo_program, "Actor", actor, text),
    PAVO_FIELD(tpavo_program, "Director", director, text),
    PAVO_FIELD(tpavo_program, "Region", region, text),
    PAVO_FIELD(tpavo_program, "Language", language, text),
    PAVO_FIELD(tpavo_program, "ProgramType", programtype, text),
    PAVO_FIELD(tpavo_program, "Keywords", keywords, text),
    PAVO_FIELD(tpavo_program, "RatingLevel", ratinglevel, text),
    PAVO_FIELD(tpavo_program, "Desc", desc, text),
    PAVO_FIELD(tpavo_program, "Status", status, integer),
    PAVO_FIELD(tpavo_program, "SmallImage1", smallimage1, text),
    PAVO_FIELD(tpavo_program, "SmallImage2", smallimage2, text),
    PAVO_FIELD(tpavo_program, "BigImage1", bigimage1, text),
    PAVO_FIELD(tpavo_program, "BigImage2", bigimage2, text),
};

constexpr pavo_field kProgramDump[] = {
    PAVO_FIELD(tpavo_program, nullptr, code, text),
    PAVO_FIELD(tpavo_program, nullptr, name, text),
    PAVO_FIELD(tpavo_program, nullptr, actor, text),
    PAVO_FIELD(tpavo_program, nullptr, director, text),
    PAVO_FIELD(tpavo_program, nullptr, region, text),
    PAVO_FIELD(tpavo_program, nullptr, language, text),
    PAVO_FIELD(tpavo_program, nullptr, programtype, text),
    PAVO_FIELD(tpavo_program, nullptr, keywords, text),
    PAVO_FIELD(tpavo_program, nullptr, ratinglevel, text),
    PAVO_FIELD(tpavo_program, nullptr, desc, text),
    PAVO_FIELD(tpavo_program, nullptr, smallimage1, text),
    PAVO_FIELD(tpavo_program, nullptr, smallimage2, text),
    PAVO_FIELD(tpavo_program, nullptr, bigimage1, text),
    PAVO_FIELD(tpavo_program, nullptr, bigimage2, text),
};

constexpr pavo_field kChannelFields[] = {
    PAVO_FIELD(tpavo_channel, "Code", code, text),
    PAVO_FIELD(tpavo_channel, "Name", name, text),
    PAVO_FIELD(tpavo_channel, "Desc", desc, text),
    PAVO_FIELD(tpavo_channel, "Icon1", icon1, text),
    PAVO_FIELD(tpavo_channel, "Icon2", icon2, text),
    PAVO_FIELD(tpavo_channel, "BKImage1", bkimage1, text),
    PAVO_FIELD(tpavo_channel, "BKImage2", bkimage2, text),
    PAVO_FIELD(tpavo_channel, "Type", type, integer),
    PAVO_FIELD(tpavo_channel, "TimeShiftDuration", timeshiftduration, integer),
};

constexpr pavo_field kChannelDump[] = {
    PAVO_FIELD(tpavo_channel, nullptr, code, text),
    PAVO_FIELD(tpavo_channel, nullptr, name, text),
    PAVO_FIELD(tpavo_channel, nullptr, desc, text),
    PAVO_FIELD(tpavo_channel, nullptr, icon1, text),
    PAVO_FIELD(tpavo_channel, nullptr, icon2, text),
    PAVO_FIELD(tpavo_channel, nullptr, bkimage1, text),
    PAVO_FIELD(tpavo_channel, nullptr, bkimage2, text),
};

constexpr pavo_field kItemFields[] = {
    PAVO_FIELD(tpavo_item, "Type", type, integer),
    PAVO_FIELD(tpavo_item, "Code", code, text),
    PAVO_FIELD(tpavo_item, "ParentCode", parentcode, text),
    PAVO_FIELD(tpavo_item, "Name", name, text),
    PAVO_FIELD(tpavo_item, "StartTime", starttime, text),
    PAVO_FIELD(tpavo_item, "EndTime", endtime, text),
    PAVO_FIELD(tpavo_item, "Desc", desc, text),
    PAVO_FIELD(tpavo_item, "Icon1", icon1, text),
    PAVO_FIELD(tpavo_item, "Icon2", icon2, text),
    PAVO_FIELD(tpavo_item, "Flag", flag, integer),
    PAVO_FIELD(tpavo_item, "Summary", summary, text),
};

constexpr pavo_field kItemDump[] = {
    PAVO_FIELD(tpavo_item, nullptr, code, text),
    PAVO_FIELD(tpavo_item, nullptr, parentcode, text),
    PAVO_FIELD(tpavo_item, nullptr, name, text),
    PAVO_FIELD(tpavo_item, nullptr, starttime, text),
    PAVO_FIELD(tpavo_item, nullptr, endtime, text),
    PAVO_FIELD(tpavo_item, nullptr, desc, text),
    PAVO_FIELD(tpavo_item, nullptr, icon1, text),
    PAVO_FIELD(tpavo_item, nullptr, icon2, text),
    PAVO_FIELD(tpavo_item, nullptr, summary, text),
};

/* Rows of the table are made by these; each names one way a kind differs. */

struct Layout : pavo_record_layout {
    template <size_t N>
    constexpr Layout printing(const pavo_field (&fields)[N]) const
    {
        Layout layout = *this;
        layout.printed = pavo_fields(fields);
        return layout;
    }
    template <size_t N>
    constexpr Layout owning(const pavo_field (&fields)[N]) const
    {
        Layout layout = *this;
        layout.owned = pavo_fields(fields);
        return layout;
    }
    constexpr Layout after(void (*step)(CMarkup&, void*, const pavo_record_layout&)) const
    {
        Layout layout = *this;
        layout.after_fields = step;
        return layout;
    }
    constexpr Layout nesting(size_t offset, tpavo_datatype (*nested)(const void*)) const
    {
        Layout layout = *this;
        layout.nested_offset = offset;
        layout.nested = nested;
        return layout;
    }
    constexpr Layout framed(const char* banner, const char* closing = nullptr) const
    {
        Layout layout = *this;
        layout.banner = banner;
        layout.closing = closing;
        return layout;
    }
    constexpr Layout on_failed_copy(const char* line) const
    {
        Layout layout = *this;
        layout.copy_failure = line;
        return layout;
    }
};

// A record of the answers' "Response" element; reads, owns and prints its
// fields in table order unless told otherwise.
template <typename Record, size_t N>
constexpr Layout response(const pavo_field (&fields)[N])
{
    Layout layout{};
    layout.element = "Response";
    layout.size = sizeof(Record);
    layout.fields = layout.owned = layout.printed = pavo_fields(fields);
    return layout;
}

// A list entry, read from the attributes of `element`.
template <typename Record, size_t N>
constexpr Layout entry(const char* element, const pavo_field (&fields)[N])
{
    Layout layout = response<Record>(fields);
    layout.element = element;
    layout.next_offset = offsetof(Record, next);
    return layout;
}

struct Kind : pavo_kind {
    constexpr Kind holding(const Layout& layout) const
    {
        Kind kind = *this;
        kind.record = layout;
        return kind;
    }
    constexpr Kind inside_result() const
    {
        Kind kind = *this;
        kind.list_in_result = true;
        return kind;
    }
    constexpr Kind then(void (*step)(CMarkup&, tpavo_result*)) const
    {
        Kind kind = *this;
        kind.after_list = step;
        return kind;
    }
    constexpr Kind dumped(const char* null_result, bool code_lines, const char* null_data) const
    {
        Kind kind = *this;
        kind.null_result = null_result;
        kind.code_lines = code_lines;
        kind.null_data = null_data;
        return kind;
    }
};

constexpr char kResultIsNull[] = "result is NULL\r\n";

// A record or a list of records that no answer is read as.
constexpr Kind record_kind(const Layout& layout) { return Kind{}.holding(layout); }

constexpr Kind list_kind(tpavo_datatype entry_type, const char* copy_failure = nullptr)
{
    Kind kind{};
    kind.entry = entry_type;
    kind.record.copy_failure = copy_failure;
    return kind;
}

// An answer read as `body` and tagged `tag`; its dump prints the result lines
// and names a missing record in `null_data` unless told otherwise.
constexpr Kind answer(pavo_body body, tpavo_datatype tag, const char* null_data,
                      pavo_data_freeproc freeproc, pavo_data_dumpproc dumpproc)
{
    Kind kind{};
    kind.body = body;
    kind.tag = tag;
    kind.freeproc = freeproc;
    kind.dumpproc = dumpproc;
    return kind.dumped(kResultIsNull, true, null_data);
}

constexpr Kind list_answer(tpavo_datatype tag, const char* list_element,
                           tpavo_datatype entry_type, pavo_data_freeproc freeproc,
                           pavo_data_dumpproc dumpproc)
{
    Kind kind = answer(pavo_body::list, tag, nullptr, freeproc, dumpproc);
    kind.list_element = list_element;
    kind.entry = entry_type;
    return kind;
}

// What hangs from a programme or channel, and from an item by its type.
tpavo_datatype clip_list(const void*) { return DATATYPE_VIDEOCLIPLIST; }

tpavo_datatype item_detail(const void* record)
{
    const int type = static_cast<const tpavo_item*>(record)->type;
    return type == PAVO_ITEMTYPE_PROGRAM   ? DATATYPE_PROGRAM
           : type == PAVO_ITEMTYPE_CHANNEL ? DATATYPE_CHANNEL
                                           : DATATYPE_NORMAL;
}

// "Programee" is the platform's spelling of the item list element; item
// lists, item details and related items are one answer under three tags.
constexpr Kind item_answer(tpavo_datatype tag)
{
    return list_answer(tag, "Programee", DATATYPE_ITEM, free_categoryitemlistresult,
                       dump_categoryitemlistresult)
        .then(pavo_attach_item_details)
        .dumped(nullptr, false, nullptr);
}

constexpr Layout kItem = entry<tpavo_item>("Item", kItemFields)
                             .printing(kItemDump)
                             .nesting(offsetof(tpavo_item, detail), item_detail)
                             .framed("*********************Begin Item**********************\r\n",
                                     "*********************End Item**********************\r\n");

// Indexed by data type. The logout answer is tagged as a recharge answer and
// the resource upgrade as a system upgrade: requests and callers compare
// these tags, so both stay. The status report (23) is deliberately not
// parsed; the schedule list's dump says "null" in lower case and prints no
// result lines, and the item lists print nothing but their items: log
// readers match on these lines.
constexpr Kind kKinds[] = {
    /* 0  NORMAL */ Kind{},
    /* 1  STRING */ Kind{},  // a plain block, freed by the result store itself
    /* 2  OPENRESULT */
    answer(pavo_body::record, DATATYPE_OPENRESULT, "openresponse is NULL\r\n", free_openresult,
           dump_openresult)
        .holding(response<tpavo_openresponse>(kOpenFields)),
    /* 3  LOGINRESULT */
    answer(pavo_body::record, DATATYPE_LOGINRESULT, "loginresponse is NULL\r\n", free_loginresult,
           dump_loginresult)
        .holding(response<tpavo_loginresponse>(kLoginFields)
                     .printing(kLoginDump)
                     .after(pavo_read_server_time)),
    /* 4  LOGOUTRESULT */
    answer(pavo_body::code_only, DATATYPE_RECHARGERESULT, "logoutresponse is NULL\r\n",
           free_logoutresult, dump_logoutresult),
    /* 5  RECHARGERESULT */
    answer(pavo_body::record, DATATYPE_RECHARGERESULT, "rechargeresponse is NULL\r\n",
           free_rechargeresult, dump_rechargeresult)
        .holding(response<tpavo_rechargeresponse>(kRechargeFields)),
    /* 6  QUERYPLAYURLRESULT */
    answer(pavo_body::record, DATATYPE_QUERYPLAYURLRESULT, "playresponse is NULL\r\n",
           free_playresult, dump_playresult)
        .holding(response<tpavo_playresponse>(kPlayFields)),
    /* 7  CATEGORYLIST */
    list_answer(DATATYPE_CATEGORYLIST, "Categorys", DATATYPE_CATEGORY, free_categorylistresult,
                dump_categorylistresult),
    /* 8  CATEGORY */
    record_kind(entry<tpavo_category>("Category", kCategoryFields)
                    .printing(kCategoryDump)
                    .framed("***************category*************\r\n")),
    /* 9  ITEMLIST */ item_answer(DATATYPE_ITEMLIST),
    // The item detail answer is read like the item list; its record, the item,
    // is the entry of all three item answers.
    /* 10 ITEM */ item_answer(DATATYPE_ITEM).holding(kItem),
    /* 11 RELATIVEITEMLIST */ item_answer(DATATYPE_RELATIVEITEMLIST),
    /* 12 CHANNELLIST */ list_kind(DATATYPE_CHANNEL),
    /* 13 CHANNEL */
    record_kind(entry<tpavo_channel>("Channel", kChannelFields)
                    .printing(kChannelDump)
                    .after(pavo_read_clips)
                    .nesting(offsetof(tpavo_channel, pvideoclip), clip_list)
                    .framed("********************channel****************\r\n")),
    /* 14 SCHEDULELIST */
    list_answer(DATATYPE_SCHEDULELIST, "Schedules", DATATYPE_SCHEDULE, free_schedulelistresult,
                dump_schedulelistresult)
        .inside_result()
        .dumped("result is null\r\n", false, "schedulelistresponse is null\r\n"),
    /* 15 SCHEDULE */
    record_kind(entry<tpavo_schedule>("Schedule", kScheduleFields)
                    .framed("**************schedule**************************\r\n")),
    /* 16 PROGRAMLIST */ list_kind(DATATYPE_PROGRAM),
    /* 17 PROGRAM */
    record_kind(entry<tpavo_program>("Program", kProgramFields)
                    .printing(kProgramDump)
                    .after(pavo_read_clips)
                    .nesting(offsetof(tpavo_program, pvideoclip), clip_list)
                    .framed("***************program**********************\r\n")
                    .on_failed_copy("dup program error\r\n")),
    /* 18 VIDEOCLIPLIST */ list_kind(DATATYPE_VIDEOCLIP, "dup videoclip error\r\n"),
    /* 19 VIDEOCLIP */
    record_kind(entry<tpavo_videoclip>("VideoClip", kClipFields)
                    .owning(kClipCopyFields)
                    .printing(kClipDump)
                    .framed("**************videoclip********************\r\n")
                    .on_failed_copy("dup videoclip failed\r\n")),
    /* 20 EXTSERVICERESULT */
    answer(pavo_body::raw, DATATYPE_EXTSERVICERESULT, nullptr, free_extserviceresult,
           dump_extserviceresult)
        .dumped(nullptr, false, nullptr),
    /* 21 UPGRADEOSRESULT */
    answer(pavo_body::record, DATATYPE_UPGRADEOSRESULT, "upgradeosresponse is NULL\r\n",
           free_upgradeosresult, dump_upgradeosresult)
        .holding(response<tpavo_upgradeosresponse>(kUpgradeOsFields).printing(kUpgradeOsDump)),
    /* 22 UPGRADERESRESULT */
    answer(pavo_body::record, DATATYPE_UPGRADEOSRESULT, "upgraderesresponse is NULL\r\n",
           free_upgraderesresult, dump_upgraderesresult)
        .holding(response<tpavo_upgraderesresponse>(kUpgradeResFields).printing(kUpgradeResDump)),
    /* 23 STATUSREPORTRESULT */ Kind{},
};

constexpr unsigned int kKindCount = sizeof kKinds / sizeof kKinds[0];
static_assert(kKindCount == DATATYPE_STATUSREPORTRESULT + 1, "one row per data type");

// The exported procedures of a kind: each hands its argument to the frame
// with the kind's row.
template <tpavo_datatype Datatype>
struct KindProcs {
    static tpavo_result* parse(const char* xmldata)
    {
        return pavo_parse_answer(xmldata, kKinds[Datatype]);
    }
    static void free_result(void* result) { pavo_free_answer(kKinds[Datatype], result); }
    static void dump_result(void* result) { pavo_dump_answer(kKinds[Datatype], result); }
    template <typename Record>
    static Record* copy(Record* data)
    {
        return static_cast<Record*>(pavo_copy_data(kKinds[Datatype], data));
    }
    static void free_data(void* data) { pavo_free_data(kKinds[Datatype], data); }
    static void dump_data(const void* data) { pavo_dump_data(kKinds[Datatype], data); }
};

}  // namespace

const pavo_kind* pavo_kind_of(unsigned int datatype)
{
    return datatype < kKindCount ? &kKinds[datatype] : nullptr;
}

// One line per kind: the C names of its procedures.
#define PAVO_RESULT_PROCS(datatype, free_name, dump_name)                      \
    void free_name(void* result) { KindProcs<datatype>::free_result(result); } \
    void dump_name(void* result) { KindProcs<datatype>::dump_result(result); }
#define PAVO_ANSWER_PROCS(datatype, parse_name, free_name, dump_name) \
    tpavo_result* parse_name(const char* xmldata)                     \
    {                                                                 \
        return KindProcs<datatype>::parse(xmldata);                   \
    }                                                                 \
    PAVO_RESULT_PROCS(datatype, free_name, dump_name)

extern "C" {

PAVO_ANSWER_PROCS(DATATYPE_OPENRESULT, pavo_parseopenresult, free_openresult, dump_openresult)
PAVO_ANSWER_PROCS(DATATYPE_LOGINRESULT, pavo_parseloginresult, free_loginresult, dump_loginresult)
PAVO_ANSWER_PROCS(DATATYPE_LOGOUTRESULT, pavo_parselogoutresult, free_logoutresult,
                  dump_logoutresult)
PAVO_ANSWER_PROCS(DATATYPE_RECHARGERESULT, pavo_parserechargeresult, free_rechargeresult,
                  dump_rechargeresult)
PAVO_ANSWER_PROCS(DATATYPE_QUERYPLAYURLRESULT, pavo_parseplayurlresult, free_playresult,
                  dump_playresult)
PAVO_ANSWER_PROCS(DATATYPE_CATEGORYLIST, pavo_parsecategorylistresult, free_categorylistresult,
                  dump_categorylistresult)
PAVO_ANSWER_PROCS(DATATYPE_ITEMLIST, pavo_parsecategoryitemlistresult,
                  free_categoryitemlistresult, dump_categoryitemlistresult)
PAVO_ANSWER_PROCS(DATATYPE_SCHEDULELIST, pavo_parseschedulelistresult, free_schedulelistresult,
                  dump_schedulelistresult)
PAVO_RESULT_PROCS(DATATYPE_EXTSERVICERESULT, free_extserviceresult, dump_extserviceresult)
PAVO_ANSWER_PROCS(DATATYPE_UPGRADEOSRESULT, pavo_parseupgradeosresult, free_upgradeosresult,
                  dump_upgradeosresult)
PAVO_ANSWER_PROCS(DATATYPE_UPGRADERESRESULT, pavo_parseupgraderesresult, free_upgraderesresult,
                  dump_upgraderesresult)

/* The catalogue records: copies, frees and the clip list's dump. */

tpavo_videoclip* dup_videoclip(tpavo_videoclip* videoclip)
{
    return KindProcs<DATATYPE_VIDEOCLIP>::copy(videoclip);
}

tpavo_videoclip* dup_videocliplist(tpavo_videoclip* videoclip)
{
    return KindProcs<DATATYPE_VIDEOCLIPLIST>::copy(videoclip);
}

// A channel copy fails silently, a programme copy says so: both kept.
tpavo_channel* dup_channel(tpavo_channel* channel)
{
    return KindProcs<DATATYPE_CHANNEL>::copy(channel);
}

tpavo_program* dup_program(tpavo_program* program)
{
    return KindProcs<DATATYPE_PROGRAM>::copy(program);
}

void pavo_freevideoclip(tpavo_videoclip* videoclip)
{
    KindProcs<DATATYPE_VIDEOCLIPLIST>::free_data(videoclip);
}

void free_channel(tpavo_channel* channel) { KindProcs<DATATYPE_CHANNEL>::free_data(channel); }

void free_program(tpavo_program* program) { KindProcs<DATATYPE_PROGRAM>::free_data(program); }

void free_schedule(tpavo_schedule* schedule)
{
    KindProcs<DATATYPE_SCHEDULE>::free_data(schedule);
}

void dump_videoclip(tpavo_videoclip* videoclip)
{
    KindProcs<DATATYPE_VIDEOCLIPLIST>::dump_data(videoclip);
}

}  // extern "C"
