/*
 * pavo_parse_items.cpp - what the item list answer (item list, item detail
 * and related items) does after its items are read: reads the programmes and
 * the channels, gives each item its own copy of the programme or channel
 * with its code, and drops the rest. A step of the item rows of the kinds table.
 */
#include <string.h>

#include <string_view>
#include <unordered_map>

#include "parse/pavo_parse_frame.h"
#include "xml/Markup.h"

namespace {

// The section is looked for at the level where the position stands after
// the previous section; a previous section cut short by an entry without
// children leaves it one level too high, and this one is then not found.
void* read_section(CMarkup& xml, const char* section, tpavo_datatype entry)
{
    xml.OutOfElem();
    xml.ResetMainPos();
    xml.FindElem(section);
    xml.IntoElem();
    return pavo_read_entries(xml, pavo_kind_of(entry)->record, nullptr);
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

}  // namespace

void pavo_attach_item_details(CMarkup& xml, tpavo_result* result)
{
    tpavo_program* programs =
        static_cast<tpavo_program*>(read_section(xml, "Programs", DATATYPE_PROGRAM));
    tpavo_channel* channels =
        static_cast<tpavo_channel*>(read_section(xml, "Channels", DATATYPE_CHANNEL));
    xml.OutOfElem();
    attach_details(result->data.itemlistresponse, programs, channels);
    free_each(programs, free_program);
    free_each(channels, free_channel);
}
