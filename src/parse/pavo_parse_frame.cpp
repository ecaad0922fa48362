/*
 * pavo_parse_frame.cpp - the common frame of every answer parser (document,
 * "Root", result code and message, body) and the table-driven field, list,
 * free, copy and dump helpers declared in pavo_parse_frame.h. The answer
 * kinds themselves are tables in pavo_parse_account/_catalogue/_items.cpp.
 */
#include "parse/pavo_parse_frame.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "xml/Markup.h"

namespace {

constexpr int kFailureResultCode = -9000;

// Records the running parse of this thread may still create; -1: no budget.
thread_local long t_records_left = -1;
thread_local bool t_out_of_records = false;

template <typename T>
T& field_at(void* record, size_t offset)
{
    return *reinterpret_cast<T*>(static_cast<char*>(record) + offset);
}

template <typename T>
const T& field_at(const void* record, size_t offset)
{
    return *reinterpret_cast<const T*>(static_cast<const char*>(record) + offset);
}

// The platform's answers must list the fields in table order: the child
// search only moves forward, and a failed search leaves the child position
// on the previous element, whose text the missing field then repeats.
void read_child_fields(CMarkup& xml, void* record, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const pavo_field& field = fields.fields[i];
        xml.FindChildElem(field.source);
        pavo_store_field(record, field, xml.GetChildData());
    }
}

void read_attributes(CMarkup& xml, void* record, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i)
        pavo_store_field(record, fields.fields[i], xml.GetAttrib(fields.fields[i].source));
}

// A fresh record filled by `read_fields` and the layout's own last step; null
// when the allocator is exhausted.
void* read_record(CMarkup& xml, const pavo_record_layout& layout,
                  void (*read_fields)(CMarkup&, void*, pavo_field_table))
{
    void* record = pavo_take_record() ? pavo_malloc(layout.size) : nullptr;
    if (record == nullptr)
        return nullptr;
    read_fields(xml, record, layout.fields);
    if (layout.after_fields != nullptr)
        layout.after_fields(xml, record);
    return record;
}

}  // namespace

void pavo_begin_record_budget(void)
{
    const int limit = pavo_inner_recordlimit();
    t_records_left = limit > 0 ? limit : -1;
    t_out_of_records = false;
}

bool pavo_end_record_budget(void)
{
    t_records_left = -1;
    if (t_out_of_records)
        pavo_inner_loginfo("answer exceeds maxrecords:%d, not parsed\r\n",
                           pavo_inner_recordlimit());
    return !t_out_of_records;
}

bool pavo_take_record(void)
{
    if (t_records_left < 0)
        return true;
    if (t_records_left == 0) {
        t_out_of_records = true;
        return false;
    }
    --t_records_left;
    return true;
}

tpavo_result* pavo_new_failure_result(void)
{
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    if (result != nullptr)
        result->resultcode = kFailureResultCode;
    return result;
}

tpavo_result* pavo_parse_answer(const char* xmldata, const pavo_answer_kind& kind)
{
    CMarkup xml;
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    if (result == nullptr)
        return nullptr;
    result->datatype = kind.tag;
    result->freeproc = kind.freeproc;
    result->dumpproc = kind.dumpproc;
    result->resultcode = 0;
    // A document that is not well formed reads as success without data.
    if (!xml.SetDoc(xmldata))
        return result;
    // FindChildElem makes the first element inside Root the main position,
    // whatever its name and whether or not the child search succeeds.
    xml.FindElem("Root");
    xml.IntoElem();
    xml.FindChildElem("Result");
    result->resultcode = atoi(xml.GetAttrib("ResultCode").c_str());
    result->resultmsg = pavo_copy_text(xml.GetAttrib("ResultMsg"));
    if (result->resultcode < 0)
        return result;
    if (kind.response != nullptr) {
        xml.FindElem(kind.response->element);
        result->data.ptr = read_record(xml, *kind.response, read_child_fields);
    } else if (kind.read_body != nullptr)
        kind.read_body(xml, result);
    return result;
}

char* pavo_copy_text(const std::string& text)
{
    return text.empty() ? nullptr : pavo_copy_bytes(text.data(), text.size());
}

char* pavo_copy_cstring(const char* text)
{
    return text == nullptr ? nullptr : pavo_copy_bytes(text, strlen(text));
}

void pavo_store_field(void* record, const pavo_field& field, const std::string& text)
{
    switch (field.kind) {
    case pavo_field_kind::text:
        field_at<char*>(record, field.offset) = pavo_copy_text(text);
        break;
    case pavo_field_kind::integer:
        field_at<int>(record, field.offset) = atoi(text.c_str());
        break;
    case pavo_field_kind::flag:
        // Only the low 8 bits are kept: "257" reads as 1.
        field_at<char>(record, field.offset) =
            static_cast<char>(static_cast<unsigned char>(atoi(text.c_str()) & 0xff));
        break;
    case pavo_field_kind::int64:
        field_at<int64_t>(record, field.offset) = _atoi64(text.c_str());
        break;
    }
}

void pavo_copy_fields(void* target, const void* source, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const pavo_field& field = fields.fields[i];
        switch (field.kind) {
        case pavo_field_kind::text:
            field_at<char*>(target, field.offset) =
                pavo_copy_cstring(field_at<char*>(source, field.offset));
            break;
        case pavo_field_kind::integer:
            field_at<int>(target, field.offset) = field_at<int>(source, field.offset);
            break;
        case pavo_field_kind::flag:
            field_at<char>(target, field.offset) = field_at<char>(source, field.offset);
            break;
        case pavo_field_kind::int64:
            field_at<int64_t>(target, field.offset) = field_at<int64_t>(source, field.offset);
            break;
        }
    }
}

void* pavo_next_of(const void* record, size_t next_offset)
{
    return field_at<void*>(record, next_offset);
}

void* pavo_read_entries(CMarkup& xml, const pavo_record_layout& entry, int* count)
{
    void* head = nullptr;
    void* tail = nullptr;
    while (xml.FindElem(entry.element)) {
        void* record = read_record(xml, entry, read_attributes);
        // An exhausted allocator skips the entry; the count stays true.
        if (record == nullptr)
            continue;
        if (tail == nullptr)
            head = record;
        else
            field_at<void*>(tail, entry.next_offset) = record;
        tail = record;
        if (count != nullptr)
            *count += 1;
    }
    return head;
}

// "Count" is read and then replaced by the number of entries actually read.
void* pavo_read_paged_list(CMarkup& xml, tpavo_result* result, const char* list_element,
                           const pavo_record_layout& entry)
{
    xml.FindElem(list_element);
    result->totalcount = atoi(xml.GetAttrib("TotalCount").c_str());
    result->datacount = atoi(xml.GetAttrib("Count").c_str());
    result->pageindex = atoi(xml.GetAttrib("PageIndex").c_str());
    result->pagesize = atoi(xml.GetAttrib("PageSize").c_str());
    xml.IntoElem();
    result->datacount = 0;
    return pavo_read_entries(xml, entry, &result->datacount);
}

void pavo_free_record(void* record, pavo_field_table fields)
{
    if (record == nullptr)
        return;
    for (size_t i = 0; i < fields.count; ++i) {
        if (fields.fields[i].kind == pavo_field_kind::text)
            pavo_free(field_at<char*>(record, fields.fields[i].offset));
    }
    pavo_free(record);
}

void pavo_free_list(void* head, size_t next_offset, pavo_field_table fields)
{
    while (head != nullptr) {
        void* next = pavo_next_of(head, next_offset);
        pavo_free_record(head, fields);
        head = next;
    }
}

void pavo_free_record_result(void* result, pavo_field_table fields)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free_record(answer->data.ptr, fields);
    answer->data.ptr = nullptr;
}

const char* pavo_printable(const char* text) { return text == nullptr ? "" : text; }

void pavo_dump_fields(const void* record, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const pavo_field& field = fields.fields[i];
        switch (field.kind) {
        case pavo_field_kind::text:
            pavo_inner_loginfo("%s:%s\r\n", field.label,
                               pavo_printable(field_at<char*>(record, field.offset)));
            break;
        case pavo_field_kind::integer:
            pavo_inner_loginfo("%s:%d\r\n", field.label, field_at<int>(record, field.offset));
            break;
        case pavo_field_kind::flag:
            // Signed on every target, as on the platform's reference boxes: 200 prints -56.
            pavo_inner_loginfo("%s:%d\r\n", field.label,
                               static_cast<signed char>(field_at<char>(record, field.offset)));
            break;
        case pavo_field_kind::int64:
            pavo_inner_loginfo("%s:%lld\r\n", field.label,
                               static_cast<long long>(field_at<int64_t>(record, field.offset)));
            break;
        }
    }
}

// "resultmesg" is the label the platform's tools expect; keep the spelling.
bool pavo_dump_result_head(const tpavo_result* result)
{
    if (result == nullptr) {
        pavo_inner_loginfo("result is NULL\r\n");
        return false;
    }
    pavo_inner_loginfo("resultcode:%d\r\n", result->resultcode);
    pavo_inner_loginfo("resultmesg:%s\r\n", pavo_printable(result->resultmsg));
    return true;
}

void pavo_dump_record_result(void* result, const char* record_name, pavo_field_table fields)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (!pavo_dump_result_head(answer))
        return;
    if (answer->data.ptr == nullptr) {
        pavo_inner_loginfo("%s is NULL\r\n", record_name);
        return;
    }
    pavo_dump_fields(answer->data.ptr, fields);
}

void pavo_dump_list(const void* head, size_t next_offset, const char* banner,
                    pavo_field_table fields)
{
    for (const void* record = head; record != nullptr;
         record = pavo_next_of(record, next_offset)) {
        pavo_inner_loginfo("%s", banner);
        pavo_dump_fields(record, fields);
    }
}
