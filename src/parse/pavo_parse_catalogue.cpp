/*
 * pavo_parse_catalogue.cpp - category and schedule list answers and the clip
 * list reader under a programme or channel, as record layouts over
 * pavo_parse_frame.cpp. The item list parser uses the programme and channel
 * entries; copies, frees and dumps are in pavo_parse_catalogue_records.cpp.
 */
#include "parse/pavo_parse_catalogue.h"
#include "parse/pavo_parse_catalogue_fields.h"
#include "xml/Markup.h"

namespace {

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

extern "C" {

tpavo_result* pavo_parsecategorylistresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kCategoryListAnswer);
}

tpavo_result* pavo_parseschedulelistresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kScheduleListAnswer);
}

}  // extern "C"
