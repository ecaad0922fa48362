/*
 * pavo_parse_items.cpp - the item list answer (item list, item detail and
 * related items): reads the items, the programmes and the channels, gives
 * each item its own copy of the programme or channel with its code, and
 * drops the rest; plus the item list's free and dump procedures.
 */
#include <string.h>

#include <string_view>
#include <unordered_map>

#include "parse/pavo_parse_catalogue.h"
#include "xml/Markup.h"

namespace {

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

constexpr pavo_record_layout kItemEntry = {"Item", sizeof(tpavo_item), offsetof(tpavo_item, next),
                                         pavo_fields(kItemFields), nullptr};

// "Programee" is the platform's spelling of the item list element.
constexpr char kItemListElement[] = "Programee";

// The section is looked for at the level where the position stands after
// the previous section; a previous section cut short by an entry without
// children leaves it one level too high, and this one is then not found.
void* read_section(CMarkup& xml, const char* section, const pavo_record_layout& entry)
{
    xml.OutOfElem();
    xml.ResetMainPos();
    xml.FindElem(section);
    xml.IntoElem();
    return pavo_read_entries(xml, entry, nullptr);
}

// The first entry of each code, byte for byte: a page of items looks up
// every code once, which a walk of the list per item makes quadratic.
// Without room for the index, each lookup walks the list.
template <typename Entry>
class CodeIndex {
public:
    explicit CodeIndex(Entry* list) : list_(list)
    {
        try {
            for (Entry* entry = list; entry != nullptr; entry = entry->next)
                if (entry->code != nullptr)
                    first_.emplace(entry->code, entry);
            indexed_ = true;
        } catch (...) {
            first_.clear();
        }
    }
    Entry* find(const char* code) const
    {
        if (indexed_) {
            auto found = first_.find(code);
            return found != first_.end() ? found->second : nullptr;
        }
        for (Entry* entry = list_; entry != nullptr; entry = entry->next)
            if (entry->code != nullptr && strcmp(entry->code, code) == 0)
                return entry;
        return nullptr;
    }

private:
    Entry* list_;
    bool indexed_ = false;
    std::unordered_map<std::string_view, Entry*> first_;
};

// Each item gets its own copy, so two items with one code share nothing.
void attach_details(tpavo_item* items, tpavo_program* programs, tpavo_channel* channels)
{
    const CodeIndex<tpavo_program> program_codes(programs);
    const CodeIndex<tpavo_channel> channel_codes(channels);
    for (tpavo_item* item = items; item != nullptr; item = item->next) {
        if (item->code == nullptr) {
            pavo_inner_loginfo("item code is null,invalid,please contact platform support\r\n");
            continue;
        }
        if (item->type == PAVO_ITEMTYPE_PROGRAM)
            item->detail.program = dup_program(program_codes.find(item->code));
        else if (item->type == PAVO_ITEMTYPE_CHANNEL)
            item->detail.channel = dup_channel(channel_codes.find(item->code));
        else
            pavo_inner_loginfo("unknow item type:%d\r\n", item->type);
    }
}

// The section lists are private: items hold copies, so each record goes.
template <typename Entry>
void free_each(Entry* list, void (*free_entry)(Entry*))
{
    while (list != nullptr) {
        Entry* next = list->next;
        free_entry(list);
        list = next;
    }
}

void read_item_list(CMarkup& xml, tpavo_result* result)
{
    xml.ResetMainPos();
    tpavo_item* items =
        static_cast<tpavo_item*>(pavo_read_paged_list(xml, result, kItemListElement, kItemEntry));
    tpavo_program* programs =
        static_cast<tpavo_program*>(read_section(xml, "Programs", pavo_program_entry));
    tpavo_channel* channels =
        static_cast<tpavo_channel*>(read_section(xml, "Channels", pavo_channel_entry));
    xml.OutOfElem();
    attach_details(items, programs, channels);
    free_each(programs, free_program);
    free_each(channels, free_channel);
    result->data.itemlistresponse = items;
}

// Tagged 9 here; pavo_parse retags item details (10) and related items (11).
constexpr pavo_answer_kind kItemListAnswer = {DATATYPE_ITEMLIST, free_categoryitemlistresult,
                                              dump_categoryitemlistresult, nullptr,
                                              read_item_list};

}  // namespace

extern "C" {

tpavo_result* pavo_parsecategoryitemlistresult(const char* xmldata)
{
    return pavo_parse_answer(xmldata, kItemListAnswer);
}

void free_categoryitemlistresult(void* result)
{
    tpavo_result* answer = static_cast<tpavo_result*>(result);
    if (answer == nullptr || answer->data.ptr == nullptr)
        return;
    tpavo_item* item = answer->data.itemlistresponse;
    while (item != nullptr) {
        tpavo_item* next = item->next;
        if (item->type == PAVO_ITEMTYPE_PROGRAM)
            free_program(item->detail.program);
        else if (item->type == PAVO_ITEMTYPE_CHANNEL)
            free_channel(item->detail.channel);
        pavo_free_record(item, pavo_fields(kItemFields));
        item = next;
    }
    answer->data.ptr = nullptr;
}

// No result code lines, and nothing at all without data: the platform's
// log readers expect exactly this.
void dump_categoryitemlistresult(void* result)
{
    const tpavo_result* answer = static_cast<const tpavo_result*>(result);
    if (answer == nullptr)
        return;
    for (const tpavo_item* item = answer->data.itemlistresponse; item != nullptr;
         item = item->next) {
        pavo_inner_loginfo("*********************Begin Item**********************\r\n");
        pavo_dump_fields(item, pavo_fields(kItemDump));
        if (item->type == PAVO_ITEMTYPE_PROGRAM && item->detail.program != nullptr)
            pavo_dump_program(item->detail.program);
        if (item->type == PAVO_ITEMTYPE_CHANNEL && item->detail.channel != nullptr)
            pavo_dump_channel(item->detail.channel);
        pavo_inner_loginfo("*********************End Item**********************\r\n");
    }
}

}  // extern "C"
