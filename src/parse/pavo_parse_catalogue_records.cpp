/*
 * pavo_parse_catalogue_records.cpp - the exported operations on catalogue
 * records: copies of clips, channels and programmes, the frees of every
 * catalogue record and answer, and their dumps, all driven by the field
 * tables of pavo_parse_catalogue_fields.h.
 */
#include "parse/pavo_parse_catalogue.h"
#include "parse/pavo_parse_catalogue_fields.h"

namespace {

// The record's fields as the table lists them, unlinked from its list;
// failure_message (if any) is logged when no block is left.
template <typename Record>
Record* dup_record(const Record* record, pavo_field_table fields, const char* failure_message)
{
    if (record == nullptr)
        return nullptr;
    Record* copy =
        pavo_take_record() ? static_cast<Record*>(pavo_malloc(sizeof(Record))) : nullptr;
    if (copy == nullptr) {
        if (failure_message != nullptr)
            pavo_inner_logerr("%s", failure_message);
        return nullptr;
    }
    pavo_copy_fields(copy, record, fields);
    copy->next = nullptr;
    return copy;
}

// A list answer gives up its whole list and keeps the emptied result.
void free_list_answer(void* result, size_t next_offset, pavo_field_table fields)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free_list(answer->data.ptr, next_offset, fields);
    answer->data.ptr = nullptr;
}

}  // namespace

void pavo_dump_program(const tpavo_program* program)
{
    pavo_inner_loginfo("***************program**********************\r\n");
    pavo_dump_fields(program, pavo_fields(kProgramDump));
    if (program->pvideoclip != nullptr)
        dump_videoclip(program->pvideoclip);
}

void pavo_dump_channel(const tpavo_channel* channel)
{
    pavo_inner_loginfo("********************channel****************\r\n");
    pavo_dump_fields(channel, pavo_fields(kChannelDump));
    if (channel->pvideoclip != nullptr)
        dump_videoclip(channel->pvideoclip);
}

extern "C" {

/* Copies */

tpavo_videoclip* dup_videoclip(tpavo_videoclip* videoclip)
{
    return dup_record(videoclip, pavo_fields(kClipCopyFields), "dup videoclip failed\r\n");
}

tpavo_videoclip* dup_videocliplist(tpavo_videoclip* videoclip)
{
    tpavo_videoclip* head = nullptr;
    tpavo_videoclip* tail = nullptr;
    for (tpavo_videoclip* clip = videoclip; clip != nullptr; clip = clip->next) {
        tpavo_videoclip* copy = dup_videoclip(clip);
        if (copy == nullptr) {
            pavo_inner_logerr("dup videoclip error\r\n");
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

// A channel copy fails silently, a programme copy says so: both kept.
tpavo_channel* dup_channel(tpavo_channel* channel)
{
    tpavo_channel* copy = dup_record(channel, pavo_fields(kChannelFields), nullptr);
    if (copy != nullptr)
        copy->pvideoclip = dup_videocliplist(channel->pvideoclip);
    return copy;
}

tpavo_program* dup_program(tpavo_program* program)
{
    tpavo_program* copy = dup_record(program, pavo_fields(kProgramFields),
                                     "dup program error\r\n");
    if (copy != nullptr)
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
    free_list_answer(result, offsetof(tpavo_category, next), pavo_fields(kCategoryFields));
}

void free_schedulelistresult(void* result)
{
    free_list_answer(result, offsetof(tpavo_schedule, next), pavo_fields(kScheduleFields));
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
        pavo_inner_loginfo("result is null\r\n");
        return;
    }
    if (answer->data.ptr == nullptr) {
        pavo_inner_loginfo("schedulelistresponse is null\r\n");
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
