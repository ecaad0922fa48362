/*
 * pavo_log.cpp - the library's log: four printf-style calls with their colour
 * sequences on the console, of which only the information level honours the
 * log mode and reaches the log file "pavo.log"; plus the console-only log_*
 * set. Opened and closed by the lifecycle in pavo_service.cpp.
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "service/pavo_global.h"

namespace {

constexpr int kLogConsole = 1;
constexpr int kLogFile = 2;

const char kRed[] = "\033[1;31m";
const char kYellow[] = "\033[1;33m";
const char kGreen[] = "\033[1;32m";
const char kReset[] = "\033[0m";

// Formats into a stack buffer, falling back to the heap for long messages,
// so that one call reaches each stream as one write.
class FormattedText {
public:
    // Argument 1 is the implicit this.
    FormattedText(const char* format, va_list args) PAVO_PRINTF_LIKE(2, 0)
    {
        va_list copy;
        va_copy(copy, args);
        int needed = vsnprintf(local_, sizeof local_, format, copy);
        va_end(copy);
        if (needed < 0) {
            local_[0] = '\0';
        } else if (static_cast<size_t>(needed) >= sizeof local_) {
            heap_ = static_cast<char*>(malloc(static_cast<size_t>(needed) + 1));
            if (heap_ != nullptr)
                vsnprintf(heap_, static_cast<size_t>(needed) + 1, format, args);
        }
    }
    ~FormattedText() { free(heap_); }
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;
    const char* text() const { return heap_ != nullptr ? heap_ : local_; }

private:
    char local_[1024];
    char* heap_ = nullptr;
};

// The colour sequences reach standard output even when the text itself does
// not (information level with the console bit clear).
void write_console(const char* colour, const char* text, bool show_text)
{
    flockfile(stdout);
    fputs(colour, stdout);
    if (show_text)
        fputs(text, stdout);
    fputs(kReset, stdout);
    funlockfile(stdout);
}

PAVO_PRINTF_LIKE(2, 0)
void log_console_only(const char* colour, const char* format, va_list args)
{
    FormattedText message(format, args);
    write_console(colour, message.text(), true);
}

}  // namespace

extern "C" {

// The console-only calls differ only in their colour.
#define PAVO_CONSOLE_LOG(name, colour)              \
    void name(const char* format, ...)              \
    {                                               \
        va_list args;                               \
        va_start(args, format);                     \
        log_console_only(colour, format, args);     \
        va_end(args);                               \
    }

PAVO_CONSOLE_LOG(pavo_log_err, kRed)
PAVO_CONSOLE_LOG(pavo_log_warn, kYellow)
PAVO_CONSOLE_LOG(pavo_log_debug, "")
PAVO_CONSOLE_LOG(log_err, kRed)
PAVO_CONSOLE_LOG(log_warn, kYellow)
PAVO_CONSOLE_LOG(log_info, kGreen)
PAVO_CONSOLE_LOG(log_debug, "")

// Only the information level honours the log mode and writes the file, with
// the bare text.
void pavo_log_info(const char* format, ...)
{
    int mode = pavo_relaxed_load(g_pavo_env.logmode);
    FILE* file = (mode & kLogFile) != 0 ? g_pavo_env.logfileptr : nullptr;
    // Text that goes nowhere is not formatted: only the colours are written.
    if ((mode & kLogConsole) == 0 && file == nullptr) {
        write_console(kGreen, "", false);
        return;
    }
    va_list args;
    va_start(args, format);
    FormattedText message(format, args);
    va_end(args);
    write_console(kGreen, message.text(), (mode & kLogConsole) != 0);
    if (file != nullptr)
        fputs(message.text(), file);
}

int pavo_log_init(void)
{
    if (g_pavo_env.logfileptr != nullptr) {
        fclose(g_pavo_env.logfileptr);
        g_pavo_env.logfileptr = nullptr;
    }
    if ((pavo_relaxed_load(g_pavo_env.logmode) & kLogFile) == 0)
        return 0;
    char path[PAVO_PROP_SIZE + sizeof "/pavo.log"];
    snprintf(path, sizeof path, "%s/pavo.log", g_pavo_env.logdirectory);
    // A log that cannot be opened leaves logging on the console, silently.
    g_pavo_env.logfileptr = fopen(path, "wb");
    if (g_pavo_env.logfileptr != nullptr)
        fseek(g_pavo_env.logfileptr, 0, SEEK_SET);
    return 0;
}

int pavo_log_cleanup(void)
{
    if (g_pavo_env.logfileptr != nullptr)
        fclose(g_pavo_env.logfileptr);
    g_pavo_env.logfileptr = nullptr;
    return 0;
}

}  // extern "C"
