/*
 * ini_fuzz.cpp - libFuzzer target over the INI profile file behind
 * korix.conf: the input becomes the file, which is read under a few section
 * and key names (prefixes and near misses of the real ones included) and
 * rewritten by each kind of write, every write followed by a read; the
 * refusing writer must leave the file byte for byte or land its entry.
 */
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "service/pavo_inifile.h"

namespace {

// Past the read limit, so that cut files are reached; the loader reads no more.
constexpr size_t kInputLimit = 1024 * 80;

std::string g_directory;
std::string g_path;

void remove_directory()
{
    std::remove(g_path.c_str());
    std::remove(g_directory.c_str());
}

const char* const kSections[] = {"system", "sys", "system2", "other", "[", "s]"};
const char* const kKeys[] = {"userid", "aaasrvaddress", "aaasrvaddress2", "openurl", "k", "="};

struct Write {
    const char* section;
    const char* key;
    const char* value;
};

// A new section, a new key in an existing section (the rest of the file
// goes through the "%%" folding), and a replaced value.
constexpr Write kWrites[] = {
    {"newsection", "k", "v"},
    {"system", "newkey", "%s%n%%"},
    {"system", "userid", "42"},
};

bool put_file(const uint8_t* data, size_t size)
{
    FILE* file = std::fopen(g_path.c_str(), "wb");
    if (file == nullptr)
        return false;
    const bool written = std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

// Each input's first byte picks the names, the file-level reads and the
// write: every pair in every input costs system calls the fuzzer spends
// better on new inputs. The search runs in memory for every section.
void read_all_names(uint8_t pick)
{
    static char text[PAVO_INI_TEXT_LIMIT + 1];
    int file_size = 0;
    if (!load_ini_file(g_path.c_str(), text, &file_size))
        std::abort();
    constexpr size_t kKeyCount = sizeof kKeys / sizeof kKeys[0];
    for (size_t s = 0; s < sizeof kSections / sizeof kSections[0]; ++s) {
        const char* key = kKeys[(pick + s) % kKeyCount];
        int sec_s, sec_e, key_s, key_e, value_s, value_e;
        if (parse_file(kSections[s], key, text, &sec_s, &sec_e, &key_s, &key_e, &value_s,
                       &value_e) &&
            !(sec_s <= sec_e && sec_e <= key_s && key_s <= key_e && key_e < value_s &&
              value_s <= value_e && value_e <= file_size))
            __builtin_trap();  // positions out of order or beyond the text
    }
    const size_t i = pick % 3;
    char small[4];
    char value[256];
    read_profile_string(kSections[i], kKeys[i], small, sizeof small, "default", g_path.c_str());
    read_profile_string(kSections[i], kKeys[i + 1], value, sizeof value, nullptr, g_path.c_str());
    read_profile_int("system", "userid", -1, g_path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr ? tmp : "/tmp") + "/pavo-ini-fuzz-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr)
        std::abort();
    g_directory = pattern;
    g_path = pattern + "/korix.conf";
    std::atexit(remove_directory);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size >= kInputLimit)
        return 0;
    if (!put_file(data, size))
        std::abort();
    const uint8_t pick = size > 0 ? data[0] : 0;
    read_all_names(pick);
    const Write& write = kWrites[pick % (sizeof kWrites / sizeof kWrites[0])];
    write_profile_string(write.section, write.key, write.value, g_path.c_str());
    char value[256];
    read_profile_string(write.section, write.key, value, sizeof value, nullptr, g_path.c_str());

    // The refusing writer, with a value made of the input's last bytes: either the
    // entry reads back whole, or the file keeps every byte.
    static char kept[kInputLimit];
    const std::string entry(reinterpret_cast<const char*>(data) + size -
                                std::min<size_t>(size, 24),
                            std::min<size_t>(size, 24));
    if (!put_file(data, size))
        std::abort();
    if (pavo_inner_writeprofile_whole("system", "userid", entry.c_str(), g_path.c_str()) == 1)
        read_profile_string("system", "userid", kept, sizeof kept, nullptr, g_path.c_str());
    else if (FILE* file = std::fopen(g_path.c_str(), "rb"))
        kept[std::fread(kept, 1, sizeof kept - 1, file)] = '\0', std::fclose(file);
    if (std::strcmp(kept, entry.c_str()) != 0 && std::memcmp(kept, data, size) != 0)
        __builtin_trap();  // neither the entry landed nor the file kept its bytes
    return 0;
}
