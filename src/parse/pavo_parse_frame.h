/*
 * pavo_parse_frame.h - the parse frame and the description of the data types
 * it serves: field tables, record layouts and the kind of each data type, all
 * held in the one kinds table, by which the frame reads, frees, copies and
 * prints. The one header of src/parse that the service layer includes.
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

// A record: the element it is read from ("Response" for single-record
// answers, the entry element of a list), its layout, its fields as read (in
// document order), as owned (what a copy carries and a free releases) and as
// printed (in the dump's order), and what hangs from it.
struct pavo_record_layout {
    const char* element;
    size_t size;
    size_t next_offset;  // lists only
    pavo_field_table fields;
    pavo_field_table owned;
    pavo_field_table printed;
    // A step run after the fields: the server clock, the clip lists.
    void (*after_fields)(CMarkup& xml, void* record, const pavo_record_layout& layout);
    // What hangs at nested_offset: a clip list, or an item's programme or
    // channel (DATATYPE_NORMAL: nothing).
    size_t nested_offset;
    tpavo_datatype (*nested)(const void* record);
    const char* banner;        // printed before the record's fields
    const char* closing;       // and after what hangs from it
    const char* copy_failure;  // logged when a copy finds no block
};

// How pavo_parse reads an answer of a datatype.
enum class pavo_body {
    none,       // not an answer: the failure result
    code_only,  // the result code and message, no data (logout)
    record,     // one record in "Response", a child element per field
    list,       // a paging element whose entries carry attributes
    raw         // the answer's bytes as they came (extended service)
};

// One data type: how its answer is read and tagged, its record or, for a
// list, the data type of its entries, the dump's lines around the data, and
// the exported procedures that results of it carry.
struct pavo_kind {
    pavo_body body;
    tpavo_datatype tag;
    const char* list_element;
    bool list_in_result;  // the schedule list stands inside "Result"
    tpavo_datatype entry;
    void (*after_list)(CMarkup& xml, tpavo_result* result);
    pavo_record_layout record;
    const char* null_result;  // the dump's line for a null result (null: nothing)
    bool code_lines;          // "resultcode" and "resultmesg" lines
    const char* null_data;    // the line for a result without data (null: nothing)
    pavo_data_freeproc freeproc;
    pavo_data_dumpproc dumpproc;
};

/* The table of every data type (pavo_parse_kinds.cpp); null outside it. */
const pavo_kind* pavo_kind_of(unsigned int datatype);

/* Hooks that rows of the table name, defined beside the answers they serve. */
void pavo_read_server_time(CMarkup& xml, void* record, const pavo_record_layout& layout);
void pavo_read_clips(CMarkup& xml, void* record, const pavo_record_layout& layout);
void pavo_attach_item_details(CMarkup& xml, tpavo_result* result);

/* The clip list under the programme or channel at the main position
 * (exported; pavo_parse_catalogue.cpp). */
tpavo_videoclip* parse_videoclip(CMarkup& xml);

/* Record budget of one pavo_parse (pavo_inner_recordlimit). Outside a
 * parse, and for a lifted limit, every record may be made. */
void pavo_begin_record_budget(void);
bool pavo_end_record_budget(void); /* false when the parse ran out */
bool pavo_take_record(void);       /* false, and the parse out, past the budget */

/* Frame */
tpavo_result* pavo_parse_answer(const char* xmldata, const pavo_kind& kind);
tpavo_result* pavo_copy_raw_answer(const char* xmldata, size_t datasize, const pavo_kind& kind);
tpavo_result* pavo_new_failure_result(void);
bool pavo_inner_isplatformanswer(const char* xmldata); /* pavo_parse_check.cpp */

/* Text and number fields */
char* pavo_copy_text(const std::string& text);
void pavo_store_field(void* record, const pavo_field& field, const std::string& text);

/* Lists: entries of `entry` at the current level, appended in document
 * order. */
void* pavo_read_entries(CMarkup& xml, const pavo_record_layout& entry, int* count);

/* What a result of a kind holds, or one record and what hangs from it:
 * freed, copied (next pointer cleared) and printed through the information
 * log, null strings as empty. A list kind works on the whole list. */
void pavo_free_answer(const pavo_kind& kind, void* result);
void pavo_dump_answer(const pavo_kind& kind, const void* result);
void pavo_free_data(const pavo_kind& kind, void* data);
void* pavo_copy_data(const pavo_kind& kind, const void* data);
void pavo_dump_data(const pavo_kind& kind, const void* data);

#endif
