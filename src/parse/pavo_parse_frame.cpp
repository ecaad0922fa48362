/*
 * pavo_parse_frame.cpp - the parse frame: what every answer parser shares
 * (document, "Root", result code and message, body) and the field, list,
 * free, copy and dump operations, all driven by the kinds table.
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
        layout.after_fields(xml, record, layout);
    return record;
}

// "Count" is read and then replaced by the number of entries actually read.
void* read_paged_list(CMarkup& xml, tpavo_result* result, const char* list_element,
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

char* copy_cstring(const char* text)
{
    return text == nullptr ? nullptr : pavo_copy_bytes(text, strlen(text));
}

void* next_of(const void* record, size_t next_offset)
{
    return field_at<void*>(record, next_offset);
}

// The kind of what hangs from a record, or null for nothing.
const pavo_kind* nested_kind(const pavo_record_layout& layout, const void* record)
{
    return layout.nested != nullptr ? pavo_kind_of(layout.nested(record)) : nullptr;
}

// A list kind's entries are records of its entry kind.
const pavo_kind& entry_kind(const pavo_kind& list) { return *pavo_kind_of(list.entry); }

bool is_list(const pavo_kind& kind) { return kind.entry != DATATYPE_NORMAL; }

void copy_fields(void* target, const void* source, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const pavo_field& field = fields.fields[i];
        switch (field.kind) {
        case pavo_field_kind::text:
            field_at<char*>(target, field.offset) =
                copy_cstring(field_at<char*>(source, field.offset));
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

void free_record(const pavo_kind& kind, void* record)
{
    if (record == nullptr)
        return;
    const pavo_record_layout& layout = kind.record;
    for (size_t i = 0; i < layout.owned.count; ++i) {
        if (layout.owned.fields[i].kind == pavo_field_kind::text)
            pavo_free(field_at<char*>(record, layout.owned.fields[i].offset));
    }
    if (const pavo_kind* nested = nested_kind(layout, record))
        pavo_free_data(*nested, field_at<void*>(record, layout.nested_offset));
    pavo_free(record);
}

// The record's owned fields and a copy of what hangs from it, unlinked from
// its list; the kind's failure line (if any) is logged when no block is left.
void* copy_record(const pavo_kind& kind, const void* record)
{
    if (record == nullptr)
        return nullptr;
    const pavo_record_layout& layout = kind.record;
    void* copy = pavo_take_record() ? pavo_malloc(layout.size) : nullptr;
    if (copy == nullptr) {
        if (layout.copy_failure != nullptr)
            pavo_inner_logerr("%s", layout.copy_failure);
        return nullptr;
    }
    copy_fields(copy, record, layout.owned);
    if (layout.next_offset != 0)
        field_at<void*>(copy, layout.next_offset) = nullptr;
    if (const pavo_kind* nested = nested_kind(layout, record))
        field_at<void*>(copy, layout.nested_offset) =
            pavo_copy_data(*nested, field_at<void*>(record, layout.nested_offset));
    return copy;
}

// An entry whose copy fails is left out, with the list kind's line.
void* copy_list(const pavo_kind& list, const void* head)
{
    const pavo_kind& entry = entry_kind(list);
    void* copies = nullptr;
    void* tail = nullptr;
    for (const void* record = head; record != nullptr;
         record = next_of(record, entry.record.next_offset)) {
        void* copy = copy_record(entry, record);
        if (copy == nullptr) {
            pavo_inner_logerr("%s", list.record.copy_failure);
            continue;
        }
        if (tail == nullptr)
            copies = copy;
        else
            field_at<void*>(tail, entry.record.next_offset) = copy;
        tail = copy;
    }
    return copies;
}

const char* printable(const char* text) { return text == nullptr ? "" : text; }

void dump_fields(const void* record, pavo_field_table fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const pavo_field& field = fields.fields[i];
        switch (field.kind) {
        case pavo_field_kind::text:
            pavo_inner_loginfo("%s:%s\r\n", field.label,
                               printable(field_at<char*>(record, field.offset)));
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

void dump_record(const pavo_kind& kind, const void* record)
{
    if (record == nullptr)
        return;
    const pavo_record_layout& layout = kind.record;
    if (layout.banner != nullptr)
        pavo_inner_loginfo("%s", layout.banner);
    dump_fields(record, layout.printed);
    if (const pavo_kind* nested = nested_kind(layout, record))
        pavo_dump_data(*nested, field_at<void*>(record, layout.nested_offset));
    if (layout.closing != nullptr)
        pavo_inner_loginfo("%s", layout.closing);
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

// A zeroed result that carries its kind's tag and procedures; null when out of memory.
static tpavo_result* new_kind_result(const pavo_kind& kind)
{
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    if (result != nullptr) {
        result->datatype = kind.tag;
        result->freeproc = kind.freeproc;
        result->dumpproc = kind.dumpproc;
    }
    return result;
}

tpavo_result* pavo_parse_answer(const char* xmldata, const pavo_kind& kind)
{
    CMarkup xml;
    tpavo_result* result = new_kind_result(kind);
    if (result == nullptr)
        return nullptr;
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
    if (kind.body == pavo_body::record) {
        xml.FindElem(kind.record.element);
        result->data.ptr = read_record(xml, kind.record, read_child_fields);
    } else if (kind.body == pavo_body::list) {
        if (kind.list_in_result)
            xml.IntoElem();
        xml.ResetMainPos();
        result->data.ptr =
            read_paged_list(xml, result, kind.list_element, entry_kind(kind).record);
        if (kind.after_list != nullptr)
            kind.after_list(xml, result);
    }
    return result;
}

// Exactly datasize bytes, no terminating NUL added.
tpavo_result* pavo_copy_raw_answer(const char* xmldata, size_t datasize, const pavo_kind& kind)
{
    // No text behind a non-zero size: the failure result, not a wild read.
    if (xmldata == nullptr && datasize != 0)
        return nullptr;
    tpavo_result* result = new_kind_result(kind);
    if (result == nullptr)
        return nullptr;
    char* block = static_cast<char*>(pavo_malloc(datasize));
    if (block == nullptr && datasize != 0) {
        pavo_free(result);
        return nullptr;
    }
    if (datasize != 0)
        memcpy(block, xmldata, datasize);
    result->data.ptr = block;
    result->datasize = static_cast<uint32_t>(datasize);
    return result;
}

char* pavo_copy_text(const std::string& text)
{
    return text.empty() ? nullptr : pavo_copy_bytes(text.data(), text.size());
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

void pavo_free_data(const pavo_kind& kind, void* data)
{
    if (is_list(kind)) {
        const pavo_kind& entry = entry_kind(kind);
        while (data != nullptr) {
            void* next = next_of(data, entry.record.next_offset);
            free_record(entry, data);
            data = next;
        }
    } else if (kind.record.size != 0) {
        free_record(kind, data);
    } else {
        pavo_free(data);  // a plain block: raw answers, the logout's
    }
}

void* pavo_copy_data(const pavo_kind& kind, const void* data)
{
    return is_list(kind) ? copy_list(kind, data) : copy_record(kind, data);
}

void pavo_dump_data(const pavo_kind& kind, const void* data)
{
    if (!is_list(kind)) {
        dump_record(kind, data);
        return;
    }
    const pavo_kind& entry = entry_kind(kind);
    for (const void* record = data; record != nullptr;
         record = next_of(record, entry.record.next_offset))
        dump_record(entry, record);
}

// A result gives up what it holds and keeps the emptied record.
void pavo_free_answer(const pavo_kind& kind, void* result)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    pavo_free_data(kind, answer->data.ptr);
    answer->data.ptr = nullptr;
}

// "resultmesg" is the label the platform's tools expect; keep the spelling.
void pavo_dump_answer(const pavo_kind& kind, const void* result)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (answer == nullptr) {
        if (kind.null_result != nullptr)
            pavo_inner_loginfo("%s", kind.null_result);
        return;
    }
    if (kind.code_lines) {
        pavo_inner_loginfo("resultcode:%d\r\n", answer->resultcode);
        pavo_inner_loginfo("resultmesg:%s\r\n", printable(answer->resultmsg));
    }
    if (answer->data.ptr == nullptr) {
        if (kind.null_data != nullptr)
            pavo_inner_loginfo("%s", kind.null_data);
        return;
    }
    // The raw copy has no terminating NUL: exactly datasize bytes.
    if (kind.body == pavo_body::raw)
        pavo_inner_loginfo("%.*s\r\n", static_cast<int>(answer->datasize),
                           static_cast<const char*>(answer->data.ptr));
    else
        pavo_dump_data(kind, answer->data.ptr);
}
