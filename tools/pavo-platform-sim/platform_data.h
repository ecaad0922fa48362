// The platform's data as loaded from the data folder: accounts, vouchers, upgrade offers and
// the catalogue. Loaded once at start-up by main.cpp; the catalogue is read-only afterwards,
// the accounts are copied into the mutable platform state (platform.h) and back on reset.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// Attributes of one catalogue entry by answer attribute name ("Code", "Name", ...).
using Record = std::map<std::string, std::string>;

// The record's value of the attribute, empty when it has none.
std::string field_of(const Record& record, const std::string& name);

struct VideoClipData {
    Record attributes;
    std::string play_url;  // where Play sends an online player
    std::string file;      // name under files/ for download play, empty when none
};

// A programme (item type 1) or a channel (item type 2).
struct ContentData {
    int item_type = 0;
    Record attributes;
    std::vector<VideoClipData> clips;
    std::vector<Record> schedules;     // channels only, in time order as given
    std::vector<std::string> related;  // codes named by the "Related" data attribute
};

// The item fields that a programme or channel gives its items: Type, Code, Name, Desc and
// the icons (a programme's small images, a channel's icons).
Record item_defaults(const ContentData& content);

struct CategoryData {
    Record attributes;          // ParentCode and HasChild filled in from the nesting
    std::vector<Record> items;  // item attributes, Name/Desc/icons defaulted from the content
};

struct Catalogue {
    std::vector<CategoryData> categories;  // document order: every parent before its children
    std::map<std::string, ContentData> programmes;
    std::map<std::string, ContentData> channels;

    const CategoryData* category(const std::string& code) const;
    const ContentData* content(int item_type, const std::string& code) const;
    // A programme first, then a channel, of that code.
    const ContentData* any_content(const std::string& code) const;
};

struct AccountData {
    std::string user_id;
    std::string card;
    std::string tvid;  // terminal bound to the account; empty until the first open
    std::string nickname;
    std::string description;
    std::string group;
    std::string level;
    std::string expires;
    int points = 0;
};

struct UpgradeOffer {
    int mode = 0;
    std::string version;
    std::string file;  // name under files/
    std::string hash;  // SHA-1 of the file, 40 upper-case hexadecimal characters
};

struct PlatformData {
    std::string files_dir;
    std::vector<AccountData> accounts;
    std::map<std::string, int> vouchers;  // recharge code -> points
    UpgradeOffer os_offer;
    UpgradeOffer resource_offer;
    Catalogue catalogue;
};

// Loads accounts.ini, platform.ini, catalogue.xml and checks files/; on failure returns
// nullopt and says why in `error`.
std::optional<PlatformData> load_platform_data(const std::string& dir, std::string& error);

std::optional<std::string> read_whole_file(const std::string& path);

}  // namespace sim
