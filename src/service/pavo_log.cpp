/*
 * pavo_log.cpp - the library's log: four printf-style calls with their colour
 * sequences on the console, of which only the information level honours the
 * log mode and reaches the log file "pavo.log"; plus the console-only log_*
 * set. The application's log callback, the level threshold, the quiet console
 * and the masking of secrets are routed here too. Opened and closed by the
 * lifecycle; the folders below reach it through the runtime's hooks
 * (pavo_inner_vlog, pavo_inner_vdiagnostic).
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

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

// The application's callback and its data; outside g_pavo_env so that they
// outlive pavo_cleanup.
struct LogSink {
    pavo_logcallback callback;
    void* userdata;
};
LogSink g_sink = {nullptr, nullptr};
pthread_mutex_t g_sink_lock = PTHREAD_MUTEX_INITIALIZER;

// The lock is taken only once a callback was set, so the documented path
// pays one relaxed load.
LogSink current_sink()
{
    if (pavo_relaxed_load(g_sink.callback) == nullptr)
        return {nullptr, nullptr};
    pthread_mutex_lock(&g_sink_lock);
    LogSink sink = g_sink;
    pthread_mutex_unlock(&g_sink_lock);
    return sink;
}

// Before the record is first set up every level is written, as documented.
bool level_passes(int level)
{
    return g_global_inited == 0 || level <= pavo_relaxed_load(g_pavo_env.loglevel);
}

bool console_quiet() { return pavo_relaxed_load(g_pavo_env.quietconsole) != 0; }

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

// The callback gets one line: no line ends around it and no carriage returns.
void call_sink(const LogSink& sink, int level, const char* text)
{
    std::string line;
    try {
        for (const char* at = text; *at != '\0'; ++at)
            if (*at != '\r')
                line += *at;
        size_t first = line.find_first_not_of('\n');
        if (first == std::string::npos)
            return;
        line = line.substr(first, line.find_last_not_of('\n') - first + 1);
    } catch (...) {
        return;
    }
    sink.callback(level, line.c_str(), sink.userdata);
}

// A formatted message with its secrets masked when "hidesecrets" is on.
class LogLine {
public:
    // Argument 1 is the implicit this.
    PAVO_PRINTF_LIKE(2, 0) LogLine(const char* format, va_list args) : message_(format, args)
    {
        if (pavo_relaxed_load(g_pavo_env.hidesecrets) == 0)
            return;
        try {
            masked_ = pavo_inner_hidesecrets(message_.text());
            use_masked_ = true;
        } catch (...) {
            masked_.clear();
            use_masked_ = true;  // nothing rather than a secret
        }
    }
    const char* text() const { return use_masked_ ? masked_.c_str() : message_.text(); }

private:
    FormattedText message_;
    std::string masked_;
    bool use_masked_ = false;
};

PAVO_PRINTF_LIKE(3, 0)
void log_console_only(int level, const char* colour, const char* format, va_list args)
{
    if (!level_passes(level))
        return;
    const bool quiet = console_quiet();
    LogSink sink = current_sink();
    if (quiet && sink.callback == nullptr)
        return;
    LogLine message(format, args);
    if (!quiet)
        write_console(colour, message.text(), true);
    if (sink.callback != nullptr)
        call_sink(sink, level, message.text());
}

// Only the information level honours the log mode and writes the file, with
// the bare text.
PAVO_PRINTF_LIKE(1, 0) void log_information(const char* format, va_list args)
{
    if (!level_passes(PAVO_LOG_INFO))
        return;
    const bool quiet = console_quiet();
    LogSink sink = current_sink();
    int mode = pavo_relaxed_load(g_pavo_env.logmode);
    FILE* file = (mode & kLogFile) != 0 ? g_pavo_env.logfileptr : nullptr;
    // Text that goes nowhere is not formatted: only the colours are written.
    if (((mode & kLogConsole) == 0 || quiet) && file == nullptr && sink.callback == nullptr) {
        if (!quiet)
            write_console(kGreen, "", false);
        return;
    }
    LogLine message(format, args);
    if (!quiet)
        write_console(kGreen, message.text(), (mode & kLogConsole) != 0);
    if (file != nullptr)
        fputs(message.text(), file);
    if (sink.callback != nullptr)
        call_sink(sink, PAVO_LOG_INFO, message.text());
}

}  // namespace

extern "C" {

// The console-only calls differ only in their level and colour.
#define PAVO_CONSOLE_LOG(name, level, colour)          \
    void name(const char* format, ...)                 \
    {                                                  \
        va_list args;                                  \
        va_start(args, format);                        \
        log_console_only(level, colour, format, args); \
        va_end(args);                                  \
    }

PAVO_CONSOLE_LOG(pavo_log_err, PAVO_LOG_ERROR, kRed)
PAVO_CONSOLE_LOG(pavo_log_warn, PAVO_LOG_WARNING, kYellow)
PAVO_CONSOLE_LOG(pavo_log_debug, PAVO_LOG_DEBUG, "")
PAVO_CONSOLE_LOG(log_err, PAVO_LOG_ERROR, kRed)
PAVO_CONSOLE_LOG(log_warn, PAVO_LOG_WARNING, kYellow)
PAVO_CONSOLE_LOG(log_info, PAVO_LOG_INFO, kGreen)
PAVO_CONSOLE_LOG(log_debug, PAVO_LOG_DEBUG, "")

void pavo_log_info(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    log_information(format, args);
    va_end(args);
}

void pavo_inner_vlog(int level, const char* format, va_list args)
{
    if (level == PAVO_LOG_ERROR)
        log_console_only(PAVO_LOG_ERROR, kRed, format, args);
    else if (level == PAVO_LOG_WARNING)
        log_console_only(PAVO_LOG_WARNING, kYellow, format, args);
    else
        log_information(format, args);
}

int pavo_setlogcallback(pavo_logcallback fn, void* userdata)
{
    pthread_mutex_lock(&g_sink_lock);
    g_sink.userdata = fn != nullptr ? userdata : nullptr;
    pavo_relaxed_store(g_sink.callback, fn);
    pthread_mutex_unlock(&g_sink_lock);
    return 0;
}

void pavo_inner_vdiagnostic(FILE* stream, const char* format, va_list args)
{
    const bool quiet = console_quiet();
    LogSink sink = quiet ? current_sink() : LogSink{nullptr, nullptr};
    if (quiet && (sink.callback == nullptr || !level_passes(PAVO_LOG_DEBUG)))
        return;
    if (!quiet) {
        vfprintf(stream, format, args);
    } else {
        LogLine message(format, args);
        call_sink(sink, PAVO_LOG_DEBUG, message.text());
    }
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
