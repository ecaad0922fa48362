// Catalogue services: category lists, item lists (of a category, related, detail),
// schedules and play addresses, answered from the catalogue of the data folder. Called
// through the service table of platform.cpp; reads no mutable state.
#include "services.h"
#include "text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace sim {
namespace {

using AttributeNames = std::vector<const char*>;

// Attribute names of each entry kind, in the order the terminal reads them.
const AttributeNames kCategoryAttributes = {"Code",     "ParentCode", "Name",        "Desc",
                                            "Icon1",    "Icon2",      "BKImage1",    "BKImage2",
                                            "HasChild", "Type",       "TemplateCode"};
const AttributeNames kItemAttributes = {"Type",      "Code",    "ParentCode", "Name",
                                        "StartTime", "EndTime", "Desc",       "Icon1",
                                        "Icon2",     "Flag",    "Summary"};
const AttributeNames kProgramAttributes = {
    "Code",   "Name",        "Type",        "EpisodeNum", "Actor",       "Director",
    "Region", "Language",    "ProgramType", "Keywords",   "RatingLevel", "Desc",
    "Status", "SmallImage1", "SmallImage2", "BigImage1",  "BigImage2"};
const AttributeNames kChannelAttributes = {"Code",     "Name",  "Desc",
                                           "Icon1",    "Icon2", "BKImage1",
                                           "BKImage2", "Type",  "TimeShiftDuration"};
const AttributeNames kVideoClipAttributes = {
    "Type",       "VideoCode",   "EpisodeIndex", "OrderCode",   "Price",         "FileSize",
    "Duration",   "AudioType",   "IsDRM",        "CanDownload", "CanOnlinePlay", "ScreenFormat",
    "Captioning", "BitRateType", "VideoType",    "Resolution"};
const AttributeNames kScheduleAttributes = {"Name", "ChannelCode", "Desc", "StartTime",
                                            "EndTime"};

// An entry element with the record's values of the named attributes that it has.
Element entry_element(const char* name, const Record& record, const AttributeNames& names)
{
    Element element{name, {}, "", {}};
    for (const char* attribute : names) {
        auto found = record.find(attribute);
        if (found != record.end())
            element.attributes.push_back({attribute, found->second});
    }
    return element;
}

// A programme or channel with its clips. "VideoClips" is always written, also when empty:
// the terminal takes the first child element as the clip container, and an entry without
// children would end its reading of the whole section.
Element content_element(const ContentData& content)
{
    bool programme = content.item_type == 1;
    Element element = entry_element(programme ? "Program" : "Channel", content.attributes,
                                    programme ? kProgramAttributes : kChannelAttributes);
    Element clips{"VideoClips", {}, "", {}};
    for (const VideoClipData& clip : content.clips)
        clips.children.push_back(
            entry_element("VideoClip", clip.attributes, kVideoClipAttributes));
    element.children.push_back(std::move(clips));
    return element;
}

// One page of a list: PageIndex counts from 1 (values below 1 mean 1), a PageSize below 1
// means the whole list.
struct Page {
    int index;
    int size;
    size_t first;
    size_t end;
    size_t total;
};

Page page_of(const Form& form, size_t total)
{
    Page page{std::max(1, form.number("PageIndex")), form.number("PageSize"), 0, total, total};
    if (page.size < 1)
        return page;
    uint64_t first = static_cast<uint64_t>(page.index - 1) * static_cast<uint64_t>(page.size);
    page.first = static_cast<size_t>(std::min<uint64_t>(first, total));
    page.end = std::min(total, page.first + static_cast<size_t>(page.size));
    return page;
}

// A list element with paging attributes and one entry element per record of the page.
Element list_element(const char* name, const Page& page, const std::vector<Record>& entries,
                     const char* entry_name, const AttributeNames& entry_attributes)
{
    Element list{name,
                 {{"TotalCount", std::to_string(page.total)},
                  {"Count", std::to_string(page.end - page.first)},
                  {"PageIndex", std::to_string(page.index)},
                  {"PageSize", std::to_string(page.size)}},
                 "",
                 {}};
    for (size_t i = page.first; i < page.end; ++i)
        list.children.push_back(entry_element(entry_name, entries[i], entry_attributes));
    return list;
}

// The item a content is listed as: its entry in the first category holding it, or one
// made from the content itself when no category lists it.
Record item_for(const Catalogue& catalogue, const ContentData& content)
{
    const std::string code = field_of(content.attributes, "Code");
    const std::string type = std::to_string(content.item_type);
    for (const CategoryData& category : catalogue.categories)
        for (const Record& item : category.items)
            if (field_of(item, "Code") == code && field_of(item, "Type") == type)
                return item;
    return item_defaults(content);
}

// "Programee" with the page's items, then "Programs" and "Channels" holding, with details,
// each programme and channel that the page refers to, once. The two sections are written
// also when empty so that every item list has the same shape.
std::string item_list_answer(const ServiceCall& call, const std::vector<Record>& items,
                             bool with_detail)
{
    const Page page = page_of(call.form, items.size());
    Element programs{"Programs", {}, "", {}};
    Element channels{"Channels", {}, "", {}};
    std::vector<const ContentData*> written;
    for (size_t i = page.first; with_detail && i < page.end; ++i) {
        const ContentData* content =
            call.data.catalogue.content(std::atoi(field_of(items[i], "Type").c_str()),
                                        field_of(items[i], "Code"));
        if (!content || std::find(written.begin(), written.end(), content) != written.end())
            continue;
        written.push_back(content);
        (content->item_type == 1 ? programs : channels)
            .children.push_back(content_element(*content));
    }
    return answer_document(kSuccess,
                           {list_element("Programee", page, items, "Item", kItemAttributes),
                            std::move(programs), std::move(channels)});
}

// Dates compare by their digits, as far as the bound gives them: "2026-01-02" takes every
// schedule starting on that day whatever its separators.
bool starts_within(const Record& schedule, const std::string& from, const std::string& to)
{
    std::string start = digits_of(field_of(schedule, "StartTime"));
    if (!from.empty() && start.substr(0, from.size()) < from)
        return false;
    if (!to.empty() && start.substr(0, to.size()) > to)
        return false;
    return true;
}

}  // namespace

std::string handle_query_category(ServiceCall& call)
{
    const std::string parent = call.form.text("CategoryCode");
    if (!parent.empty() && !call.data.catalogue.category(parent))
        return answer_document(kUnknownCategory);
    std::vector<Record> children;
    for (const CategoryData& category : call.data.catalogue.categories)
        if (field_of(category.attributes, "ParentCode") == parent)
            children.push_back(category.attributes);
    const Page page = page_of(call.form, children.size());
    return answer_document(kSuccess, {list_element("Categorys", page, children, "Category",
                                                   kCategoryAttributes)});
}

std::string handle_query_programee(ServiceCall& call)
{
    const CategoryData* category = call.data.catalogue.category(call.form.text("CategoryCode"));
    if (!category)
        return answer_document(kUnknownCategory);
    return item_list_answer(call, category->items, call.form.number("Withdetail") != 0);
}

// Related items are those the data names in "Related"; without any, the other items of the
// first category that lists the content.
std::string handle_query_relative(ServiceCall& call)
{
    const Catalogue& catalogue = call.data.catalogue;
    const ContentData* content =
        catalogue.content(call.form.number("Type"), call.form.text("Code"));
    if (!content)
        return answer_document(kUnknownItem);
    std::vector<Record> related;
    for (const std::string& code : content->related)
        related.push_back(item_for(catalogue, *catalogue.any_content(code)));
    if (content->related.empty()) {
        const Record self = item_for(catalogue, *content);
        if (const CategoryData* category = catalogue.category(field_of(self, "ParentCode")))
            for (const Record& item : category->items)
                if (field_of(item, "Code") != field_of(self, "Code"))
                    related.push_back(item);
    }
    return item_list_answer(call, related, call.form.number("Withdetail") != 0);
}

std::string handle_query_detail(ServiceCall& call)
{
    const Catalogue& catalogue = call.data.catalogue;
    const ContentData* content =
        catalogue.content(call.form.number("ItemType"), call.form.text("ItemCode"));
    if (!content)
        return answer_document(kUnknownItem);
    Record item = item_for(catalogue, *content);
    if (const CategoryData* category = catalogue.category(call.form.text("CategoryCode")))
        for (const Record& listed : category->items)
            if (field_of(listed, "Code") == field_of(item, "Code") &&
                field_of(listed, "Type") == field_of(item, "Type"))
                item = listed;
    return item_list_answer(call, {item}, true);
}

// The schedule list is the one answer whose list stands inside "Result".
std::string handle_query_schedule(ServiceCall& call)
{
    const ContentData* channel = call.data.catalogue.content(2, call.form.text("ChannelCode"));
    if (!channel)
        return answer_document(kUnknownChannel);
    const std::string from = digits_of(call.form.text("StartDate"));
    const std::string to = digits_of(call.form.text("EndDate"));
    std::vector<Record> schedules;
    for (const Record& schedule : channel->schedules)
        if (starts_within(schedule, from, to))
            schedules.push_back(schedule);
    const Page page = page_of(call.form, schedules.size());
    return answer_document(kSuccess, {},
                           {list_element("Schedules", page, schedules, "Schedule",
                                         kScheduleAttributes)});
}

// Online play gets the clip's stream address (a channel with a start time gets a time-shift
// query); download play (ServiceType 1) gets the clip's file on this server.
std::string handle_play(ServiceCall& call)
{
    const ContentData* content =
        call.data.catalogue.content(call.form.number("ItemType"), call.form.text("ItemCode"));
    if (!content)
        return answer_document(kUnknownItem);
    const std::string clip_code = call.form.text("ClipCode");
    const VideoClipData* clip = nullptr;
    for (const VideoClipData& candidate : content->clips)
        if (clip_code.empty() || field_of(candidate.attributes, "VideoCode") == clip_code) {
            clip = &candidate;
            break;
        }
    if (!clip)
        return answer_document(kUnknownClip);

    std::string url;
    if (call.form.number("ServiceType") == 1) {
        if (clip->file.empty() || field_of(clip->attributes, "CanDownload") == "0")
            return answer_document(kNotDownloadable);
        url = call.addresses.base + "/files/" + clip->file;
    } else {
        url = clip->play_url;
        const std::string start = digits_of(call.form.text("StartTime"));
        if (content->item_type == 2 && !start.empty())
            url += (url.find('?') == std::string::npos ? "?" : "&") + std::string("starttime=") +
                   start + "&endtime=" + digits_of(call.form.text("EndTime"));
    }
    return answer_document(kSuccess, {response_element({{"PlayURL", url}})});
}

}  // namespace sim
