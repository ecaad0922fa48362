/*
 * pavo_inifile_whole.cpp - the korix.conf writer behind "safeconfig": an entry
 * that would break a line, hide part of the file or be cut is refused, and the
 * new text replaces the file by rename, so a write either lands whole or
 * changes nothing. Called by pavo_writeconfig; the INI file rebuilds the text.
 */
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <mutex>

#include "service/pavo_inifile.h"

namespace {

// Two writers of one process would each rebuild from the same old text and
// the later rename would drop the other's key.
std::mutex g_write_lock;
std::atomic<unsigned> g_temp_serial{0};

// CR and LF break a line; 0xFF ends the text for every later read.
bool breaks_text(char c)
{
    return c == '\n' || c == '\r' || static_cast<unsigned char>(c) == 0xFF;
}

bool fits_one_line(const char* text, const char* also_refused)
{
    for (const char* p = text; *p != '\0'; ++p) {
        if (breaks_text(*p) || strchr(also_refused, *p) != nullptr)
            return false;
    }
    return true;
}

// A key that opens a header or a comment, or holds "=", would be read as
// something else; a "]" ends a section's name early.
bool names_fit(const char* section, const char* key)
{
    return section[0] != '\0' && key[0] != '\0' && key[0] != '[' && key[0] != ';' &&
           fits_one_line(section, "]") && fits_one_line(key, "=");
}

// The next read must find the value just written: a header without "]" at
// the end of the file, for one, would swallow the new line into its name.
bool reads_back(const char* section, const char* key, const char* value, const char* text)
{
    int sec_s, sec_e, key_s, key_e, value_s, value_e;
    return parse_file(section, key, text, &sec_s, &sec_e, &key_s, &key_e, &value_s, &value_e) &&
           static_cast<size_t>(value_e - value_s) == strlen(value) &&
           memcmp(text + value_s, value, strlen(value)) == 0;
}

bool write_all(int fd, const char* text, int length)
{
    while (length > 0) {
        ssize_t written = write(fd, text, static_cast<size_t>(length));
        if (written <= 0)
            return false;
        text += written;
        length -= static_cast<int>(written);
    }
    return true;
}

// A temporary file beside the old one, renamed over it once written and
// synced; the old file's permissions carry over.
bool replace_file(const char* file, const char* text, int length)
{
    char temp[PATH_MAX];
    int used = snprintf(temp, sizeof temp, "%s.%ld.%u.tmp", file, static_cast<long>(getpid()),
                        g_temp_serial.fetch_add(1, std::memory_order_relaxed));
    if (used < 0 || used >= static_cast<int>(sizeof temp))
        return false;
    int fd = open(temp, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    struct stat old_file;
    bool ok = (stat(file, &old_file) != 0 || fchmod(fd, old_file.st_mode & 07777) == 0) &&
              write_all(fd, text, length) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (ok && rename(temp, file) == 0)
        return true;
    unlink(temp);
    return false;
}

}  // namespace

extern "C" {

int pavo_inner_inivaluefits(const char* value) { return fits_one_line(value, "") ? 1 : 0; }

int pavo_inner_writeprofile_whole(const char* section, const char* key, const char* value,
                                  const char* file)
{
    if (section == nullptr || key == nullptr || value == nullptr || file == nullptr ||
        !names_fit(section, key) || !pavo_inner_inivaluefits(value))
        return 0;
    std::lock_guard<std::mutex> hold(g_write_lock);
    // Under the lock, and off the stack: 128 KiB would not fit a small thread's.
    static char old_text[PAVO_INI_TEXT_LIMIT + 1];
    static char new_text[PAVO_INI_TEXT_LIMIT + 1];
    int old_size = 0;
    int new_size = 0;
    int state = pavo_inner_loadini(file, old_text, &old_size);
    // A NUL hides the rest of the file from the search and from the rewrite.
    if (state == PAVO_INI_PARTIAL || state == PAVO_INI_OVERSIZE ||
        memchr(old_text, '\0', static_cast<size_t>(old_size)) != nullptr)
        return 0;
    if (!pavo_inner_rebuildini(section, key, value, old_text, old_size, new_text, &new_size) ||
        !reads_back(section, key, value, new_text))
        return 0;
    return replace_file(file, new_text, new_size) ? 1 : -1;
}

}  // extern "C"
