// Loader of the data folder: accounts.ini, platform.ini, catalogue.xml and files/.
// Called once by main.cpp; every inconsistency (an item naming no programme, an offer whose
// file is missing) stops the start with a message instead of surfacing later as an answer.
#include "platform_data.h"

#include "authenticator.h"
#include "ini_file.h"

#include <pugixml.hpp>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace sim {
namespace {

// Attributes of the data files that steer the simulator and never reach an answer.
bool is_data_only_attribute(const std::string& name)
{
    return name == "Related" || name == "URL" || name == "File";
}

Record read_record(const pugi::xml_node& node)
{
    Record record;
    for (const pugi::xml_attribute& attribute : node.attributes())
        if (!is_data_only_attribute(attribute.name()))
            record[attribute.name()] = attribute.value();
    return record;
}

class CatalogueLoader {
public:
    CatalogueLoader(Catalogue& catalogue, const std::string& files_dir, std::string& error)
        : catalogue_(catalogue), files_dir_(files_dir), error_(error)
    {
    }

    bool load(const pugi::xml_node& root)
    {
        for (const pugi::xml_node& node : root.children("Category"))
            if (!load_category(node, ""))
                return false;
        for (const pugi::xml_node& node : root.children("Program"))
            if (!load_content(node, 1, catalogue_.programmes))
                return false;
        for (const pugi::xml_node& node : root.children("Channel"))
            if (!load_content(node, 2, catalogue_.channels))
                return false;
        return complete_items() && check_related();
    }

private:
    bool fail(const std::string& message)
    {
        error_ = "catalogue.xml: " + message;
        return false;
    }

    bool load_category(const pugi::xml_node& node, const std::string& parent_code)
    {
        CategoryData category;
        category.attributes = read_record(node);
        std::string code = field_of(category.attributes, "Code");
        if (code.empty())
            return fail("a Category without Code");
        if (catalogue_.category(code))
            return fail("Category " + code + " given twice");
        category.attributes["ParentCode"] = parent_code;
        category.attributes["HasChild"] = node.child("Category") ? "1" : "0";
        for (const pugi::xml_node& item : node.children("Item")) {
            Record record = read_record(item);
            record["ParentCode"] = code;
            category.items.push_back(std::move(record));
        }
        catalogue_.categories.push_back(std::move(category));
        for (const pugi::xml_node& child : node.children("Category"))
            if (!load_category(child, code))
                return false;
        return true;
    }

    bool load_content(const pugi::xml_node& node, int item_type,
                      std::map<std::string, ContentData>& into)
    {
        ContentData content;
        content.item_type = item_type;
        content.attributes = read_record(node);
        std::string code = field_of(content.attributes, "Code");
        if (code.empty())
            return fail(std::string(node.name()) + " without Code");
        std::istringstream related(node.attribute("Related").value());
        for (std::string word; related >> word;)
            content.related.push_back(word);
        for (const pugi::xml_node& clip_node : node.children("VideoClip")) {
            VideoClipData clip{read_record(clip_node), clip_node.attribute("URL").value(),
                               clip_node.attribute("File").value()};
            if (clip.play_url.empty())
                return fail("a VideoClip of " + code + " without URL");
            if (!clip.file.empty()) {
                std::optional<std::string> bytes = read_whole_file(files_dir_ + "/" + clip.file);
                if (!bytes)
                    return fail("clip file " + clip.file + " missing in files/");
                clip.attributes["FileSize"] = std::to_string(bytes->size());
            }
            content.clips.push_back(std::move(clip));
        }
        for (const pugi::xml_node& schedule_node : node.children("Schedule")) {
            Record schedule = read_record(schedule_node);
            schedule["ChannelCode"] = code;
            content.schedules.push_back(std::move(schedule));
        }
        if (!into.emplace(code, std::move(content)).second)
            return fail(std::string(node.name()) + " " + code + " given twice");
        return true;
    }

    // Items say only what differs from their programme or channel; the rest is copied here
    // so that every answer shows the same name for the same thing.
    bool complete_items()
    {
        for (CategoryData& category : catalogue_.categories) {
            for (Record& item : category.items) {
                int type = std::atoi(field_of(item, "Type").c_str());
                const ContentData* content = catalogue_.content(type, field_of(item, "Code"));
                if (!content)
                    return fail("Item " + field_of(item, "Code") + " of " +
                                field_of(category.attributes, "Code") + " names nothing");
                for (const auto& [name, value] : item_defaults(*content))
                    if (field_of(item, name).empty())
                        item[name] = value;
            }
        }
        return true;
    }

    bool check_related()
    {
        for (const auto* contents : {&catalogue_.programmes, &catalogue_.channels})
            for (const auto& [code, content] : *contents)
                for (const std::string& related : content.related)
                    if (!catalogue_.any_content(related))
                        return fail(code + " relates to unknown " + related);
        return true;
    }

    Catalogue& catalogue_;
    const std::string& files_dir_;
    std::string& error_;
};

const IniSection* find_section(const std::vector<IniSection>& sections, const std::string& name)
{
    for (const IniSection& section : sections)
        if (section.name == name)
            return &section;
    return nullptr;
}

bool load_offer(const std::vector<IniSection>& sections, const std::string& name,
                const std::string& files_dir, UpgradeOffer& offer, std::string& error)
{
    const IniSection* section = find_section(sections, name);
    if (!section) {
        error = "platform.ini: section [" + name + "] missing";
        return false;
    }
    offer.mode = std::atoi(section->value("mode", "0").c_str());
    offer.version = section->value("version");
    offer.file = section->value("file");
    std::optional<std::string> bytes = read_whole_file(files_dir + "/" + offer.file);
    if (offer.file.empty() || !bytes) {
        error = "platform.ini: [" + name + "] file '" + offer.file + "' missing in files/";
        return false;
    }
    offer.hash = sha1_hex(*bytes);
    return true;
}

std::optional<std::vector<IniSection>> read_data_ini(const std::string& path, std::string& error)
{
    std::optional<std::vector<IniSection>> sections = read_ini_file(path);
    if (!sections)
        error = "cannot read " + path;
    return sections;
}

bool load_accounts(const std::string& path, PlatformData& data, std::string& error)
{
    std::optional<std::vector<IniSection>> sections = read_data_ini(path, error);
    if (!sections)
        return false;
    for (const IniSection& section : *sections) {
        if (section.name.empty())
            continue;
        AccountData account;
        account.user_id = section.name;
        account.card = section.value("card");
        account.tvid = section.value("tvid");
        account.nickname = section.value("nickname");
        account.description = section.value("description");
        account.group = section.value("group");
        account.level = section.value("level");
        account.expires = section.value("expires");
        account.points = std::atoi(section.value("points", "0").c_str());
        data.accounts.push_back(std::move(account));
    }
    return true;
}

bool load_platform(const std::string& path, PlatformData& data, std::string& error)
{
    std::optional<std::vector<IniSection>> sections = read_data_ini(path, error);
    if (!sections)
        return false;
    if (const IniSection* vouchers = find_section(*sections, "vouchers"))
        for (const auto& [code, points] : vouchers->entries)
            data.vouchers[code] = std::atoi(points.c_str());
    return load_offer(*sections, "upgrade_os", data.files_dir, data.os_offer, error) &&
           load_offer(*sections, "upgrade_res", data.files_dir, data.resource_offer, error);
}

bool load_catalogue(const std::string& path, PlatformData& data, std::string& error)
{
    pugi::xml_document document;
    pugi::xml_parse_result parsed = document.load_file(path.c_str());
    if (!parsed) {
        error = path + ": " + parsed.description();
        return false;
    }
    pugi::xml_node root = document.child("Catalogue");
    if (!root) {
        error = path + ": no Catalogue element";
        return false;
    }
    return CatalogueLoader(data.catalogue, data.files_dir, error).load(root);
}

}  // namespace

std::string field_of(const Record& record, const std::string& name)
{
    auto found = record.find(name);
    return found == record.end() ? std::string() : found->second;
}

Record item_defaults(const ContentData& content)
{
    const Record& source = content.attributes;
    const bool programme = content.item_type == 1;
    return Record{{"Type", std::to_string(content.item_type)},
                  {"Code", field_of(source, "Code")},
                  {"Name", field_of(source, "Name")},
                  {"Desc", field_of(source, "Desc")},
                  {"Icon1", field_of(source, programme ? "SmallImage1" : "Icon1")},
                  {"Icon2", field_of(source, programme ? "SmallImage2" : "Icon2")}};
}

const CategoryData* Catalogue::category(const std::string& code) const
{
    for (const CategoryData& entry : categories)
        if (field_of(entry.attributes, "Code") == code)
            return &entry;
    return nullptr;
}

const ContentData* Catalogue::content(int item_type, const std::string& code) const
{
    const std::map<std::string, ContentData>* contents = item_type == 1   ? &programmes
                                                         : item_type == 2 ? &channels
                                                                          : nullptr;
    if (!contents)
        return nullptr;
    auto found = contents->find(code);
    return found == contents->end() ? nullptr : &found->second;
}

const ContentData* Catalogue::any_content(const std::string& code) const
{
    const ContentData* programme = content(1, code);
    return programme ? programme : content(2, code);
}

std::optional<std::string> read_whole_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::optional<PlatformData> load_platform_data(const std::string& dir, std::string& error)
{
    PlatformData data;
    data.files_dir = dir + "/files";
    if (!load_accounts(dir + "/accounts.ini", data, error) ||
        !load_platform(dir + "/platform.ini", data, error) ||
        !load_catalogue(dir + "/catalogue.xml", data, error))
        return std::nullopt;
    return data;
}

}  // namespace sim
