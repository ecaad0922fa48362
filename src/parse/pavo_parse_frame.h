/*
 * pavo_parse_frame.h - the one frame behind every answer parser and the
 * field tables that describe the answer kinds: reading element text or
 * attributes into record fields, allocating and tagging the result, the list
 * readers, and the table-driven free, copy and dump helpers. Implemented in
 * pavo_parse_frame.cpp; used by pavo_parse_account/_catalogue/_items.cpp.
 */
#ifndef PAVO_PARSE_FRAME_H
#define PAVO_PARSE_FRAME_H

#include <stddef.h>

#include <string>

#include "runtime/pavo_runtime.h"

class CMarkup;

enum class pavo_field_kind {
    text,     // owned copy, null when empty
    integer,  // atoi
    flag,     // low 8 bits of atoi, in a char
    int64     // _atoi64
};

// One record field: the element or attribute it is read from (null in
// tables used only for printing), its printed label, its place and kind.
struct pavo_field {
    const char* source;
    const char* label;
    size_t offset;
    pavo_field_kind kind;
};

// A row of a field table; the printed label is the field's own name.
#define PAVO_FIELD(record, source, field, kind) \
    pavo_field { source, #field, offsetof(record, field), pavo_field_kind::kind }

struct pavo_field_table {
    const pavo_field* fields;
    size_t count;
};

template <size_t N>
constexpr pavo_field_table pavo_fields(const pavo_field (&fields)[N])
{
    return {fields, N};
}

// A record read from the document: the element that holds it ("Response"
// for single-record answers, the entry element for lists), its size, where
// its next pointer lives (lists only), its fields in reading order, and an
// optional step run after the fields (server time, clip lists).
struct pavo_record_layout {
    const char* element;
    size_t size;
    size_t next_offset;
    pavo_field_table fields;
    void (*after_fields)(CMarkup& xml, void* record);
};

// One answer kind. Single-record answers name their record in `response`;
// list answers read their body in `read_body`; with neither (logout) the
// frame reads the result code only.
struct pavo_answer_kind {
    tpavo_datatype tag;
    pavo_data_freeproc freeproc;
    pavo_data_dumpproc dumpproc;
    const pavo_record_layout* response;
    void (*read_body)(CMarkup& xml, tpavo_result* result);
};

/* Record budget of one pavo_parse (pavo_inner_recordlimit). Outside a
 * parse, and for a lifted limit, every record may be made. */
void pavo_begin_record_budget(void);
bool pavo_end_record_budget(void);  /* false when the parse ran out */
bool pavo_take_record(void);        /* false, and the parse out, past the budget */

/* Frame */
tpavo_result* pavo_parse_answer(const char* xmldata, const pavo_answer_kind& kind);
tpavo_result* pavo_new_failure_result(void);
bool pavo_inner_isplatformanswer(const char* xmldata); /* pavo_parse_check.cpp */

/* Text and number fields */
char* pavo_copy_text(const std::string& text);
char* pavo_copy_cstring(const char* text);
void pavo_store_field(void* record, const pavo_field& field, const std::string& text);
void pavo_copy_fields(void* target, const void* source, pavo_field_table fields);

/* Lists: entries of `entry` at the current level, appended in document
 * order; the paged form reads the list element's paging attributes first. */
void* pavo_read_entries(CMarkup& xml, const pavo_record_layout& entry, int* count);
void* pavo_read_paged_list(CMarkup& xml, tpavo_result* result, const char* list_element,
                           const pavo_record_layout& entry);
void* pavo_next_of(const void* record, size_t next_offset);

/* Freeing: text fields of the table, then the record(s). */
void pavo_free_record(void* record, pavo_field_table fields);
void pavo_free_list(void* head, size_t next_offset, pavo_field_table fields);
void pavo_free_record_result(void* result, pavo_field_table fields);

/* Printing through the information log; null strings print as empty. */
const char* pavo_printable(const char* text);
void pavo_dump_fields(const void* record, pavo_field_table fields);
bool pavo_dump_result_head(const tpavo_result* result);
void pavo_dump_record_result(void* result, const char* record_name, pavo_field_table fields);
void pavo_dump_list(const void* head, size_t next_offset, const char* banner,
                    pavo_field_table fields);

#endif
