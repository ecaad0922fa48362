/*
 * pavo_inifile.cpp - the INI file behind korix.conf. The file's first 65,535
 * bytes are loaded into a 64 KiB stack buffer and searched by byte positions;
 * a write rebuilds the text in a second buffer and rewrites the file in place
 * (the whole-file writer takes over with "safeconfig"). Called by the
 * settings, the session property store and the write-back.
 */
#include <assert.h>
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"
#include "service/pavo_inifile.h"

namespace {

constexpr int kIniBufferSize = PAVO_INI_TEXT_LIMIT + 1;
// Bytes asked of the C library per read.
constexpr int kReadPiece = 4096;

bool is_line_break(char c) { return c == '\n' || c == '\r'; }

bool starts_line(const char* text, int position)
{
    return position == 0 || is_line_break(text[position - 1]);
}

// Positions of one search; -1 where nothing was found.
struct IniMatch {
    int sec_s = -1, sec_e = -1, key_s = -1, key_e = -1, value_s = -1, value_e = -1;
};

void copy_default(char* value, int size, const char* default_value)
{
    // strncpy: not terminated when the default fills the buffer, as always.
    if (default_value != nullptr)
        strncpy(value, default_value, static_cast<size_t>(size));
}

}  // namespace

extern "C" {

int pavo_inner_loadini(const char* file, char* buf, int* file_size)
{
    *file_size = 0;
    buf[0] = '\0';
    FILE* in = fopen(file, "r");
    if (in == nullptr)
        return PAVO_INI_MISSING;
    int state = PAVO_INI_WHOLE;
    int i = 0;
    while (i < PAVO_INI_TEXT_LIMIT) {
        int want = PAVO_INI_TEXT_LIMIT - i < kReadPiece ? PAVO_INI_TEXT_LIMIT - i : kReadPiece;
        int got = static_cast<int>(fread(buf + i, 1, static_cast<size_t>(want), in));
        // A 0xFF byte ends the text like the end of the file.
        const void* end_mark = memchr(buf + i, 0xFF, static_cast<size_t>(got));
        if (end_mark != nullptr) {
            i = static_cast<int>(static_cast<const char*>(end_mark) - buf);
            state = PAVO_INI_PARTIAL;
            break;
        }
        i += got;
        if (got < want)
            break;
    }
    // Data from outside: a longer file is read up to the limit, never asserted on.
    if (i == PAVO_INI_TEXT_LIMIT && fgetc(in) != EOF)
        state = PAVO_INI_OVERSIZE;
    buf[i] = '\0';
    fclose(in);
    *file_size = i;
    return state;
}

int pavo_inner_inifilestate(const char* file)
{
    char buf[kIniBufferSize];
    int file_size = 0;
    return pavo_inner_loadini(file, buf, &file_size);
}

int load_ini_file(const char* file, char* buf, int* file_size)
{
    // An assertion prints its expression: the formatter leaves these texts as written.
    // clang-format off
    assert(file !=__null);
    assert(buf !=__null);
    // clang-format on
    return pavo_inner_loadini(file, buf, file_size) != PAVO_INI_MISSING;
}

int parse_file(const char* section, const char* key, const char* buf, int* sec_s, int* sec_e,
               int* key_s, int* key_e, int* value_s, int* value_e)
{
    // clang-format off
    assert(buf!=__null);
    assert(section != __null && strlen(section));
    assert(key != __null && strlen(key));
    // clang-format on
    *sec_s = *sec_e = *key_s = *key_e = *value_s = *value_e = -1;
    // "wholekeys": a file key answers only for itself, not for longer keys.
    const bool whole_keys = pavo_relaxed_load(g_pavo_env.wholekeys) != 0;

    int i = 0;
    while (buf[i] != '\0') {
        if (!(starts_line(buf, i) && buf[i] == '[')) {
            i++;
            continue;
        }
        int name_start = i + 1;
        int name_end = name_start;
        while (buf[name_end] != ']' && buf[name_end] != '\0')
            name_end++;
        i = name_end;
        // Only the file's name length is compared: a header that is a prefix
        // of the wanted section matches, "[]" included. Kept deliberately.
        if (strncmp(buf + name_start, section, static_cast<size_t>(name_end - name_start)) != 0)
            continue;
        if (buf[i] == ']')
            i++;
        while (buf[i] != '\0' && isspace(static_cast<unsigned char>(buf[i])))
            i++;
        *sec_s = name_start;
        *sec_e = i;
        // Walk the body line by line until the next header.
        while (buf[i] != '\0' && !(starts_line(buf, i) && buf[i] == '[')) {
            int line_start = i;
            while (buf[i] != '\0' && !is_line_break(buf[i]))
                i++;
            int line_end = i;
            if (buf[line_start] != ';' && buf[line_start] != '=') {
                const char* equals = static_cast<const char*>(
                    memchr(buf + line_start, '=', static_cast<size_t>(line_end - line_start)));
                // Same prefix rule for keys: a file key that is a prefix of
                // the wanted key answers for it.
                const size_t key_length =
                    equals != nullptr ? static_cast<size_t>(equals - buf - line_start) : 0;
                if (equals != nullptr && strncmp(key, buf + line_start, key_length) == 0 &&
                    (!whole_keys || key[key_length] == '\0')) {
                    int equals_at = static_cast<int>(equals - buf);
                    *key_s = line_start;
                    *key_e = equals_at - 1;
                    *value_s = equals_at + 1;
                    *value_e = line_end;
                    return 1;
                }
            }
            if (buf[i] != '\0')
                i++;
        }
    }
    return 0;
}

int read_profile_string(const char* section, const char* key, char* value, int size,
                        const char* default_value, const char* file)
{
    // clang-format off
    assert(section != __null && strlen(section));
    assert(key != __null && strlen(key));
    assert(value != __null);
    assert(size > 0);
    assert(file !=__null &&strlen(key));
    // clang-format on

    char buf[kIniBufferSize] = {0};
    int file_size = 0;
    IniMatch m;
    if (!load_ini_file(file, buf, &file_size) ||
        !parse_file(section, key, buf, &m.sec_s, &m.sec_e, &m.key_s, &m.key_e, &m.value_s,
                    &m.value_e)) {
        copy_default(value, size, default_value);
        return 0;
    }
    int count = m.value_e - m.value_s;
    if (count > size - 1)
        count = size - 1;
    memset(value, 0, static_cast<size_t>(size));
    memcpy(value, buf + m.value_s, static_cast<size_t>(count));
    value[count] = '\0';
    return 1;
}

int read_profile_int(const char* section, const char* key, int default_value, const char* file)
{
    char value[32] = {0};
    if (!read_profile_string(section, key, value, sizeof value, nullptr, file))
        return default_value;
    return atoi(value);
}

int pavo_inner_rebuildini(const char* section, const char* key, const char* value,
                          const char* buf, int file_size, char* out, int* out_size)
{
    int sec_s, sec_e, key_s, key_e, value_s, value_e;
    if (file_size > 0)
        parse_file(section, key, buf, &sec_s, &sec_e, &key_s, &key_e, &value_s, &value_e);
    else
        sec_s = key_s = -1;

    out[0] = '\0';
    PavoText text(out, kIniBufferSize);
    if (sec_s == -1) {
        // No such section (or no file): a new one at the end.
        if (file_size > 0) {
            text.append(buf, static_cast<size_t>(file_size));
            text.append("\n");
        }
        text.append("[");
        text.append(section);
        text.append("]\n");
        text.append(key);
        text.append("=");
        text.append(value);
        text.append("\n");
    } else if (key_s == -1) {
        // The new entry becomes the first line of the section's body.
        text.append(buf, static_cast<size_t>(sec_e));
        text.append(key);
        text.append("=");
        text.append(value);
        text.append("\n");
        // The old remainder was printed as its own format: "%%" folds to "%".
        pavo_format_literal(text, buf + sec_e);
    } else {
        text.append(buf, static_cast<size_t>(value_s));
        text.append(value);
        text.append(buf + value_e, static_cast<size_t>(file_size - value_e));
    }
    *out_size = static_cast<int>(text.length());
    return text.cut() ? 0 : 1;
}

int write_profile_string(const char* section, const char* key, const char* value,
                         const char* file)
{
    // clang-format off
    assert(section != __null && strlen(section));
    assert(key != __null && strlen(key));
    assert(value != __null);
    assert(file !=__null &&strlen(key));
    // clang-format on

    char buf[kIniBufferSize];
    char w_buf[kIniBufferSize];
    int file_size = 0;
    int w_size = 0;
    // Cut silently at the buffer, as documented.
    pavo_inner_loadini(file, buf, &file_size);
    pavo_inner_rebuildini(section, key, value, buf, file_size, w_buf, &w_size);

    FILE* out = fopen(file, "w");
    if (out == nullptr)
        return 0;
    if (fputs(w_buf, out) == EOF) {
        fclose(out);
        return 0;
    }
    fclose(out);
    return 1;
}

}  // extern "C"
