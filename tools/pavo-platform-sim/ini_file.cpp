// INI reader for the simulator's data folder; see ini_file.h.
#include "ini_file.h"

#include <fstream>

namespace sim {
namespace {

std::string trimmed(const std::string& text)
{
    const char* blanks = " \t\r\n";
    size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

std::string IniSection::value(const std::string& key, const std::string& fallback) const
{
    for (const auto& entry : entries)
        if (entry.first == key)
            return entry.second;
    return fallback;
}

std::optional<std::vector<IniSection>> read_ini_file(const std::string& path)
{
    std::ifstream in(path);
    if (!in)
        return std::nullopt;
    std::vector<IniSection> sections(1);
    std::string line;
    while (std::getline(in, line)) {
        line = trimmed(line);
        if (line.empty() || line[0] == ';' || line[0] == '#')
            continue;
        if (line[0] == '[') {
            size_t close = line.find(']');
            sections.push_back(IniSection{trimmed(line.substr(1, close - 1)), {}});
            continue;
        }
        size_t equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        sections.back().entries.emplace_back(trimmed(line.substr(0, equals)),
                                             trimmed(line.substr(equals + 1)));
    }
    if (sections.front().entries.empty())
        sections.erase(sections.begin());
    return sections;
}

}  // namespace sim
