// A pugixml-based reader for the benchmarks' peers: fills the library's records
// from an answer the way the library's parsers do, allocated in the library's
// pool with the same copies, so that each comparison does the same work.
#ifndef PAVO_BENCH_PUGIXML_READER_H
#define PAVO_BENCH_PUGIXML_READER_H

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pavo.h"

namespace pugixml_reader {

enum class Kind { text, integer, flag, int64 };
struct Field {
    const char* name;
    size_t offset;
    Kind kind;
};
#define FIELD(record, name, member, kind) \
    Field { name, offsetof(record, member), Kind::kind }

template <size_t N>
void* read_record(pugi::xml_node node, size_t size, const Field (&fields)[N])
{
    char* record = static_cast<char*>(pavo_malloc(size));
    for (const Field& field : fields) {
        const char* value = node.attribute(field.name).value();
        switch (field.kind) {
        case Kind::text: {
            const size_t length = std::strlen(value);
            char* copy = nullptr;
            if (length != 0) {
                copy = static_cast<char*>(pavo_malloc(length + 1));
                std::memcpy(copy, value, length);
            }
            *reinterpret_cast<char**>(record + field.offset) = copy;
            break;
        }
        case Kind::integer:
            *reinterpret_cast<int*>(record + field.offset) = atoi(value);
            break;
        case Kind::flag:
            record[field.offset] = static_cast<char>(atoi(value) & 0xff);
            break;
        case Kind::int64:
            *reinterpret_cast<int64_t*>(record + field.offset) = atoll(value);
            break;
        }
    }
    return record;
}

template <typename Record, size_t N>
Record* read_list(pugi::xml_node list, const char* element, const Field (&fields)[N], int* count,
                  void (*after)(pugi::xml_node, Record*) = nullptr)
{
    Record* head = nullptr;
    Record** tail = &head;
    for (pugi::xml_node node = list.child(element); node; node = node.next_sibling(element)) {
        Record* record = static_cast<Record*>(read_record(node, sizeof(Record), fields));
        if (after)
            after(node, record);
        *tail = record;
        tail = &record->next;
        if (count)
            ++*count;
    }
    return head;
}

// A result of `datatype` with the frame's code and message; the caller reads the body.
inline tpavo_result* new_result(const pugi::xml_document& doc, tpavo_datatype datatype,
                                pavo_data_freeproc freeproc)
{
    auto* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    result->datatype = datatype;
    result->freeproc = freeproc;
    const pugi::xml_node answer = doc.child("Root").child("Result");
    result->resultcode = atoi(answer.attribute("ResultCode").value());
    const char* message = answer.attribute("ResultMsg").value();
    result->resultmsg = static_cast<char*>(pavo_malloc(std::strlen(message) + 1));
    std::strcpy(result->resultmsg, message);
    return result;
}

// The paging attributes of a list element; the count is the records made.
inline void read_paging(pugi::xml_node list, tpavo_result* result)
{
    result->totalcount = atoi(list.attribute("TotalCount").value());
    result->datacount = atoi(list.attribute("Count").value());
    result->pageindex = atoi(list.attribute("PageIndex").value());
    result->pagesize = atoi(list.attribute("PageSize").value());
    result->datacount = 0;
}

constexpr Field kCategoryFields[] = {FIELD(tpavo_category, "Code", code, text),
                                     FIELD(tpavo_category, "ParentCode", parentcode, text),
                                     FIELD(tpavo_category, "Name", name, text),
                                     FIELD(tpavo_category, "Desc", desc, text),
                                     FIELD(tpavo_category, "Icon1", icon1, text),
                                     FIELD(tpavo_category, "Icon2", icon2, text),
                                     FIELD(tpavo_category, "BKImage1", bgimage1, text),
                                     FIELD(tpavo_category, "BKImage2", bgimage2, text),
                                     FIELD(tpavo_category, "HasChild", haschild, flag),
                                     FIELD(tpavo_category, "Type", type, integer),
                                     FIELD(tpavo_category, "TemplateCode", templatecode, text)};

inline tpavo_result* read_category_list(const char* text, size_t size)
{
    pugi::xml_document doc;
    if (!doc.load_buffer(text, size))
        return nullptr;
    tpavo_result* result = new_result(doc, DATATYPE_CATEGORYLIST, free_categorylistresult);
    const pugi::xml_node list = doc.child("Root").child("Categorys");
    read_paging(list, result);
    result->data.categorylistresponse =
        read_list<tpavo_category>(list, "Category", kCategoryFields, &result->datacount);
    return result;
}

}  // namespace pugixml_reader

#endif
