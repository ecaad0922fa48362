// The INI profile file: exact file text after each kind of write, the prefix
// rules for sections and keys, comments, line breaks, bounds and defaults; the
// refusing writer; korix.conf at start-up, each number key reaching its documented value.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "service/pavo_inifile.h"
#include "service/pavo_service_fields.h"
#include "support/library_start.h"
#include "support/temp_dir.h"

namespace {

class IniFile : public ::testing::Test {
protected:
    std::string read(const char* section, const char* key, int size = 64,
                     const char* fallback = "<none>")
    {
        char value[256];
        std::fill(std::begin(value), std::end(value), 'Z');
        found_ = read_profile_string(section, key, value, size, fallback, conf_.c_str());
        return std::string(value, strnlen(value, static_cast<size_t>(size)));
    }
    void write(const char* section, const char* key, const char* value)
    {
        ASSERT_EQ(write_profile_string(section, key, value, conf_.c_str()), 1);
    }

    TempDir dir_;
    std::string conf_ = dir_.file("korix.conf");
    int found_ = -1;
};

TEST_F(IniFile, EachKindOfWriteRebuildsTheExactText)
{
    write("system", "userid", "42");
    EXPECT_EQ(read_file(conf_), "[system]\nuserid=42\n");
    write("system", "openurl", "x");
    EXPECT_EQ(read_file(conf_), "[system]\nopenurl=x\nuserid=42\n");
    write("system", "userid", "7");
    EXPECT_EQ(read_file(conf_), "[system]\nopenurl=x\nuserid=7\n");
    write("other", "k", "v");
    EXPECT_EQ(read_file(conf_), "[system]\nopenurl=x\nuserid=7\n\n[other]\nk=v\n");
}

TEST_F(IniFile, NewKeyFoldsDoublePercentInTheRestOfTheFile)
{
    write_file(conf_, "[system]\nrate=50%%\nfmt=%s%n\n");
    write("system", "first", "1");
    EXPECT_EQ(read_file(conf_), "[system]\nfirst=1\nrate=50%\nfmt=%s%n\n");
    // Replacing a value copies the rest byte for byte.
    write_file(conf_, "[system]\nrate=50%%\n");
    write("system", "rate", "60%%");
    EXPECT_EQ(read_file(conf_), "[system]\nrate=60%%\n");
}

// Only as many characters as the file's section or key name has are compared.
TEST_F(IniFile, NamesMatchByTheFilesPrefixAndCommentsAreSkipped)
{
    // value: null when not found.
    const struct {
        const char *text, *section, *key, *value;
    } cases[] = {
        {"[sys]\nuserid=9\n", "system", "userid", "9"},
        {"[system]\naaasrvaddress=A\naaasrvaddress2=B\n", "system", "aaasrvaddress2", "A"},
        {"[]\nkey=empty-header\n", "anything", "key", "empty-header"},
        {"[system]\nuserid = 9\n", "system", "userid ", " 9"},
        {";userid=1\n[system]\n;userid=2\n=userid\nnoequals\nuserid=3\n[next]\nk=v\n", "system",
         "userid", "3"},
        {"[system]\n;userid=1\n[other]\nuserid=2\n", "system", "userid", nullptr},
        {"[system]\n;userid=1\n", "system", ";userid", nullptr},  // a comment is no key
        {"[system]\na=1\n[other]\n[system]\nuserid=5\n", "system", "userid", "5"},  // namesake
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        write_file(conf_, c.text);
        EXPECT_EQ(read(c.section, c.key), c.value != nullptr ? c.value : "<none>");
        EXPECT_EQ(found_, c.value != nullptr ? 1 : 0);
    }
}

TEST_F(IniFile, CarriageReturnsBreakLinesAndAByte0xFFEndsTheText)
{
    write_file(conf_, "[system]\r\nuserid=42\r\nopenurl=http://h/x\r\n");
    EXPECT_EQ(read("system", "userid"), "42");
    EXPECT_EQ(read("system", "openurl"), "http://h/x");
    write("system", "userid", "7");
    EXPECT_EQ(read_file(conf_), "[system]\r\nuserid=7\r\nopenurl=http://h/x\r\n");
    write_file(conf_, std::string("[system]\nuserid=ab\xff\nopenurl=x\n"));
    EXPECT_EQ(read("system", "userid"), "ab");
    EXPECT_EQ(read("system", "openurl"), "<none>");
}

TEST_F(IniFile, ReadsAreCutToSizeMinusOneAndMissesGiveTheDefault)
{
    write_file(conf_, "[system]\nuserid=abcdef\nn=12abc\n");
    EXPECT_EQ(read("system", "userid", 4), "abc");
    EXPECT_EQ(found_, 1);
    EXPECT_EQ(read_profile_int("system", "n", -3, conf_.c_str()), 12);

    std::remove(conf_.c_str());
    EXPECT_EQ(read("system", "userid"), "<none>");
    EXPECT_EQ(found_, 0);
    // The default is copied with strncpy: not terminated when it fills size.
    EXPECT_EQ(read("system", "userid", 3, "abcdef"), "abc");
    EXPECT_EQ(read_profile_int("system", "n", -3, conf_.c_str()), -3);
}

TEST_F(IniFile, WritesAreBoundedAndAnUnwritablePathReportsZero)
{
    // A value beyond the 64 KiB text buffer is cut there instead of overflowing.
    write("system", "k", std::string(70000, 'v').c_str());
    EXPECT_EQ(read_file(conf_).size(), 64u * 1024u - 1u);
    EXPECT_EQ(write_profile_string("system", "k", "v", dir_.file("no/dir/korix.conf").c_str()),
              0);
}

// Every line break, a byte that ends the text, names that read as something
// else, a file read only in part, a text past the buffer: refused, the file
// keeping its bytes and mode; whatever fits lands whole.
TEST_F(IniFile, WholeWriterLandsAnEntryWholeOrLeavesTheFileAsItWas)
{
    const std::string base = "[system]\nuserid=1\nopenurl=x\n";
    const std::string past_limit = base + std::string(PAVO_INI_TEXT_LIMIT, ';');
    const struct {
        const char* name;
        std::string file, section, key, value;
        const char* after;  // null: refused
    } rows[] = {
        {"LF", base, "system", "userid", "1\nopenurl=http://evil/", nullptr},
        {"CR", base, "system", "userid", "1\ropenurl=http://evil/", nullptr},
        {"CRLF", base, "system", "userid", "1\r\n[evil]", nullptr},
        {"0xFF", base, "system", "userid", "1\xff", nullptr},
        {"70,000 bytes", base, "system", "userid", std::string(70000, 'v'), nullptr},
        {"key holding =", base, "system", "openurl=http://evil/#", "x", nullptr},
        {"key opening a section", base, "system", "[evil]", "x", nullptr},
        {"key opening a comment", base, "system", ";k", "x", nullptr},
        {"key with LF", base, "system", "k\nopenurl", "x", nullptr},
        {"section holding ]", base, "sys]tem", "k", "x", nullptr},
        {"NUL in the file", std::string(base).insert(9, 1, '\0'), "system", "userid", "2",
         nullptr},
        {"0xFF in the file", std::string(base).insert(9, 1, '\xff'), "system", "userid", "2",
         nullptr},
        {"file past the limit", past_limit, "system", "userid", "2", nullptr},
        {"header without ] at the end", "[system", "system", "userid", "2", nullptr},
        {"value starting [", base, "system", "userid", "[x]",
         "[system]\nuserid=[x]\nopenurl=x\n"},
        {"replaced", base, "system", "userid", "7", "[system]\nuserid=7\nopenurl=x\n"},
        {"new key", base, "system", "k", "v", "[system]\nk=v\nuserid=1\nopenurl=x\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        write_file(conf_, row.file);
        ASSERT_EQ(chmod(conf_.c_str(), 0640), 0);
        EXPECT_EQ(pavo_inner_writeprofile_whole(row.section.c_str(), row.key.c_str(),
                                                row.value.c_str(), conf_.c_str()),
                  row.after != nullptr ? 1 : 0);
        EXPECT_EQ(read_file(conf_), row.after != nullptr ? std::string(row.after) : row.file);
        struct stat after;
        EXPECT_TRUE(stat(conf_.c_str(), &after) == 0 && (after.st_mode & 0777) == 0640)
            << "mode kept";
    }
}

// Every number key set to its documented value in korix.conf keeps that value at start-up, and
// the default profile agrees: no settling rule or profile row puts the documented behaviour
// out of reach.
TEST_F(IniFile, EveryNumberKeyTakesItsDocumentedValue)
{
    const auto number_key = [](const pavo_session_field& field) {
        return field.kind == PAVO_FIELD_NUMBER &&
               (field.flags & (PAVO_FIELD_SETTING | PAVO_FIELD_LOGSETTING)) != 0;
    };
    std::string text = "[system]\n";
    for (const pavo_session_field& field : g_pavo_fields)
        if (number_key(field))
            text += field.name + ("=" + std::to_string(field.documented_value)) + "\n";
    write_file(conf_, text);
    ASSERT_EQ(pavo_test::start_library(dir_.path(), "oem", "type", "device", "chip", "client"),
              0);
    for (const pavo_session_field& field : g_pavo_fields) {
        if (!number_key(field))
            continue;
        const int documented = field.documented_value;
        EXPECT_EQ(pavo_inner_fieldnumber(&g_pavo_env, field), documented) << field.name;
        EXPECT_EQ(pavo_inner_profiledefault(field.name, documented), documented) << field.name;
    }
    pavo_cleanup();
}

}  // namespace
