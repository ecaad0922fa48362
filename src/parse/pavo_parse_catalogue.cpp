/*
 * pavo_parse_catalogue.cpp - category and schedule list answers, the clip
 * list reader under a programme or channel, and the exported copy, free and
 * dump operations of clips, channels, programmes and schedules, all as
 * field tables over pavo_parse_frame.cpp. The item list parser uses them.
 */
#include "parse/pavo_parse_catalogue.h"

#include "xml/Markup.h"

namespace {

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

constexpr pavo_record_layout kCategoryEntry = {"Category", sizeof(tpavo_category),
                                             offsetof(tpavo_category, next),
                                             pavo_fields(kCategoryFields), nullptr};
constexpr pavo_record_layout kScheduleEntry = {"Schedule", sizeof(tpavo_schedule),
                                             offsetof(tpavo_schedule, next),
                                             pavo_fields(kScheduleFields), nullptr};
constexpr pavo_record_layout kClipEntry = {"VideoClip", sizeof(tpavo_videoclip),
                                         offsetof(tpavo_videoclip, next),
                                         pavo_fields(kClipFields), nullptr};

// The clip list is read whether or not the entry had any attributes.
void attach_program_clips(CMarkup& xml, void* record)
{
    static_cast<tpavo_program*>(record)->pvideoclip = parse_videoclip(xml);
}

void attach_channel_clips(CMarkup& xml, void* record)
{
    static_cast<tpavo_channel*>(record)->pvideoclip = parse_videoclip(xml);
}

void read_category_list(CMarkup& xml, tpavo_result* result)
{
    xml.ResetMainPos();
    result->data.ptr = pavo_read_paged_list(xml, result, "Categorys", kCategoryEntry);
}

// Unlike every other list, "Schedules" stands inside the first element of
// Root (the "Result" element); the platform sends it there.
void read_schedule_list(CMarkup& xml, tpavo_result* result)
{
    xml.IntoElem();
    xml.ResetMainPos();
    result->data.ptr = pavo_read_paged_list(xml, result, "Schedules", kScheduleEntry);
}

constexpr pavo_answer_kind kCategoryListAnswer = {DATATYPE_CATEGORYLIST, free_categorylistresult,
                                                  dump_categorylistresult, nullptr,
                                                  read_category_list};
constexpr pavo_answer_kind kScheduleListAnswer = {DATATYPE_SCHEDULELIST, free_schedulelistresult,
                                                  dump_schedulelistresult, nullptr,
                                                  read_schedule_list};

}  // namespace

extern const pavo_record_layout pavo_program_entry = {"Program", sizeof(tpavo_program),
                                                    offsetof(tpavo_program, next),
                                                    pavo_fields(kProgramFields),
                                                    attach_program_clips};
extern const pavo_record_layout pavo_channel_entry = {"Channel", sizeof(tpavo_channel),
                                                    offsetof(tpavo_channel, next),
                                                    pavo_fields(kChannelFields),
                                                    attach_channel_clips};

// Exactly this sequence of moves: with the main position on a programme or
// channel, the first child element is taken as the clip container. An
// element without children makes the two OutOfElem calls climb one level
// above the caller's list, which then ends early; callers rely on the
// sequence, so it stays.
tpavo_videoclip* parse_videoclip(CMarkup& xml)
{
    xml.IntoElem();
    xml.FindChildElem("VideoClips");
    xml.IntoElem();
    void* head = pavo_read_entries(xml, kClipEntry, nullptr);
    xml.OutOfElem();
    xml.OutOfElem();
    return static_cast<tpavo_videoclip*>(head);
}

void pavo_dump_program(const tpavo_program* program)
{
    pavo_log_info("***************program**********************\r\n");
    pavo_dump_fields(program, pavo_fields(kProgramDump));
    if (program->pvideoclip != nullptr)
        dump_videoclip(program->pvideoclip);
}

void pavo_dump_channel(const tpavo_channel* channel)
{
    pavo_log_info("********************channel****************\r\n");
    pavo_dump_fields(channel, pavo_fields(kChannelDump));
    if (channel->pvideoclip != nullptr)
        dump_videoclip(channel->pvideoclip);
}

extern "C" {

tpavo_result* pavo_parsecategorylistresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kCategoryListAnswer);
}

tpavo_result* pavo_parseschedulelistresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kScheduleListAnswer);
}

/* Copies */

tpavo_videoclip* dup_videoclip(tpavo_videoclip* videoclip)
{
    if (videoclip == nullptr)
        return nullptr;
    tpavo_videoclip* copy = static_cast<tpavo_videoclip*>(pavo_malloc(sizeof(tpavo_videoclip)));
    if (copy == nullptr) {
        pavo_log_err("dup videoclip failed\r\n");
        return nullptr;
    }
    pavo_copy_fields(copy, videoclip, pavo_fields(kClipCopyFields));
    copy->next = nullptr;
    return copy;
}

tpavo_videoclip* dup_videocliplist(tpavo_videoclip* videoclip)
{
    tpavo_videoclip* head = nullptr;
    tpavo_videoclip* tail = nullptr;
    for (tpavo_videoclip* clip = videoclip; clip != nullptr; clip = clip->next) {
        tpavo_videoclip* copy = dup_videoclip(clip);
        if (copy == nullptr) {
            pavo_log_err("dup videoclip error\r\n");
            continue;
        }
        if (tail == nullptr)
            head = copy;
        else
            tail->next = copy;
        tail = copy;
    }
    return head;
}

tpavo_channel* dup_channel(tpavo_channel* channel)
{
    if (channel == nullptr)
        return nullptr;
    tpavo_channel* copy = static_cast<tpavo_channel*>(pavo_malloc(sizeof(tpavo_channel)));
    if (copy == nullptr)
        return nullptr;
    pavo_copy_fields(copy, channel, pavo_fields(kChannelFields));
    copy->next = nullptr;
    copy->pvideoclip = dup_videocliplist(channel->pvideoclip);
    return copy;
}

tpavo_program* dup_program(tpavo_program* program)
{
    if (program == nullptr)
        return nullptr;
    tpavo_program* copy = static_cast<tpavo_program*>(pavo_malloc(sizeof(tpavo_program)));
    if (copy == nullptr) {
        pavo_log_err("dup program error\r\n");
        return nullptr;
    }
    pavo_copy_fields(copy, program, pavo_fields(kProgramFields));
    copy->next = nullptr;
    copy->pvideoclip = dup_videocliplist(program->pvideoclip);
    return copy;
}

/* Freeing */

void pavo_freevideoclip(tpavo_videoclip* videoclip)
{
    pavo_free_list(videoclip, offsetof(tpavo_videoclip, next), pavo_fields(kClipCopyFields));
}

void free_channel(tpavo_channel* channel)
{
    if (channel == nullptr)
        return;
    pavo_freevideoclip(channel->pvideoclip);
    pavo_free_record(channel, pavo_fields(kChannelFields));
}

void free_program(tpavo_program* program)
{
    if (program == nullptr)
        return;
    pavo_freevideoclip(program->pvideoclip);
    pavo_free_record(program, pavo_fields(kProgramFields));
}

void free_schedule(tpavo_schedule* schedule)
{
    pavo_free_record(schedule, pavo_fields(kScheduleFields));
}

void free_categorylistresult(void* result)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free_list(answer->data.ptr, offsetof(tpavo_category, next),
                   pavo_fields(kCategoryFields));
    answer->data.ptr = nullptr;
}

void free_schedulelistresult(void* result)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free_list(answer->data.ptr, offsetof(tpavo_schedule, next),
                   pavo_fields(kScheduleFields));
    answer->data.ptr = nullptr;
}

/* Printing */

void dump_categorylistresult(void* result)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (!pavo_dump_result_head(answer))
        return;
    pavo_dump_list(answer->data.ptr, offsetof(tpavo_category, next),
                   "***************category*************\r\n", pavo_fields(kCategoryDump));
}

// Lower-case "null" and no result code lines: this dump has always printed
// so, and log readers match on it.
void dump_schedulelistresult(void* result)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (answer == nullptr) {
        pavo_log_info("result is null\r\n");
        return;
    }
    if (answer->data.ptr == nullptr) {
        pavo_log_info("schedulelistresponse is null\r\n");
        return;
    }
    pavo_dump_list(answer->data.ptr, offsetof(tpavo_schedule, next),
                   "**************schedule**************************\r\n",
                   pavo_fields(kScheduleFields));
}

void dump_videoclip(tpavo_videoclip* videoclip)
{
    pavo_dump_list(videoclip, offsetof(tpavo_videoclip, next),
                   "**************videoclip********************\r\n", pavo_fields(kClipDump));
}

}  // extern "C"
