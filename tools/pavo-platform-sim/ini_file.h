// Reader of the simulator's own INI data files (accounts.ini, platform.ini). Owned by the
// data loader (platform_data.cpp). Unlike the terminal's korix.conf, blanks around keys and
// values are trimmed and "#" also starts a comment: these files are written by people.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

struct IniSection {
    std::string name;
    std::vector<std::pair<std::string, std::string>> entries;  // in file order

    // The value of the key, or the fallback when the section has no such key.
    std::string value(const std::string& key, const std::string& fallback = "") const;
};

// Sections in file order; nullopt when the file cannot be read. Entries before the first
// header go to a section with an empty name.
std::optional<std::vector<IniSection>> read_ini_file(const std::string& path);

}  // namespace sim
