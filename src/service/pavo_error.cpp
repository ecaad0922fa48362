/*
 * pavo_error.cpp - why a call failed: the per-thread error record that failing
 * calls fill (status and text), read through pavo_getlasterror (with the error
 * results on) and pavo_getlasterrortext, and the fixed texts of pavo_strerror.
 */
#include <stdarg.h>
#include <stdio.h>

#include <string.h>

#include <curl/curl.h>

#include "parse/pavo_parse_frame.h"
#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

// Room for what failed, libcurl's text and a service address.
constexpr size_t kErrorTextSize = 512;

struct ErrorRecord {
    int status = 0;
    char text[kErrorTextSize] = {0};
};

thread_local ErrorRecord t_error;

struct CodeText {
    int code;
    const char* text;
};

constexpr CodeText kCodeTexts[] = {
    {PAVO_STATUS_SUCCESS, "success"},
    {PAVO_STATUS_FAILURE, "failure: the transfer failed, a bad argument or a local write failed"},
    {PAVO_STATUS_FAILURE_NOTLOGINED, "the request needs a logged-in session"},
    {PAVO_STATUS_FAILURE_NOTOPENED, "the request needs an open account"},
    {PAVO_STATUS_FAILURE_NOTINITED, "the library is not started"},
    {PAVO_STATUS_FAILURE_ALREADYINITED, "the library is already started"},
    {PAVO_STATUS_FAILURE_WORKDIR, "the work directory is missing, empty or not writable"},
    {PAVO_RESULT_TRANSFERFAILED, "the transfer failed: no HTTP answer"},
    {PAVO_RESULT_HTTPERROR, "the platform answered with an HTTP error status"},
    {PAVO_RESULT_UNPARSABLE, "the answer is not the platform's XML"},
};

}  // namespace

extern "C" {

void pavo_inner_seterror(int status, const char* format, ...)
{
    t_error.status = status;
    va_list args;
    va_start(args, format);
    vsnprintf(t_error.text, sizeof t_error.text, format, args);
    va_end(args);
}

int pavo_inner_getlasterror(void)
{
    if (pavo_relaxed_load(g_pavo_env.errorresults) != 0)
        return t_error.status;
    return pavo_relaxed_load(g_pavo_env.errorno);
}

const char* pavo_getlasterrortext(void) { return t_error.text; }

int pavo_inner_failureclass(const pavo_answer* answer, int parsed)
{
    int resultclass = 0;
    if (answer->httpecode != PAVO_HTTPE_OK)
        resultclass = PAVO_RESULT_TRANSFERFAILED;
    else if (answer->httpretcode != 200 && answer->httpretcode != 0)
        resultclass = PAVO_RESULT_HTTPERROR;
    else if (answer->failed)
        resultclass = PAVO_RESULT_TRANSFERFAILED;
    else if (parsed && !pavo_inner_isplatformanswer(static_cast<const char*>(answer->bytes)))
        resultclass = PAVO_RESULT_UNPARSABLE;
    // A failed synchronous transfer has recorded its own reason already; an
    // answer delivered to the pumping thread has not: its codes tell it.
    if (resultclass == PAVO_RESULT_TRANSFERFAILED && !answer->failed)
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "%s: %s (libcurl code %d)",
                            pavo_strerror(resultclass),
                            curl_easy_strerror(static_cast<CURLcode>(answer->httpecode)),
                            static_cast<int>(answer->httpecode));
    else if (resultclass == PAVO_RESULT_HTTPERROR && !answer->failed)
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "HTTP status %ld", answer->httpretcode);
    else if (resultclass != 0 && !answer->failed)
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "%s", pavo_strerror(resultclass));
    return resultclass;
}

// The message is the reason just recorded on this thread.
tpavo_result* pavo_inner_errorresult(int resultclass, const pavo_answer* answer,
                                     tpavo_datatype datatype)
{
    tpavo_result* result = static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
    if (result == nullptr)
        return nullptr;
    result->resultcode = resultclass;
    result->datatype = datatype;
    result->httpecode = answer->httpecode;
    // No HTTP answer came: no status either, not the documented preset 200.
    result->httpretcode = resultclass == PAVO_RESULT_TRANSFERFAILED ? 0 : answer->httpretcode;
    const char* message = t_error.text[0] != '\0' ? t_error.text : pavo_strerror(resultclass);
    result->resultmsg = pavo_copy_bytes(message, strlen(message));
    return result;
}

const char* pavo_strerror(int code)
{
    for (const CodeText& row : kCodeTexts) {
        if (row.code == code)
            return row.text;
    }
    return "unknown code";
}

}  // extern "C"
