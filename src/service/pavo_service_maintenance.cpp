/*
 * pavo_service_maintenance.cpp - the terminal's maintenance calls that are
 * not members of the request family: the resource download (a plain file
 * transfer of a URL the application gives, in any state) and pavo_get_time,
 * the server clock learnt at login. The upgrade and report requests are rows
 * of the requests' table.
 */
#include <string.h>
#include <sys/time.h>

#include <limits>

#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_upload.h"

extern "C" {

int pavo_get_time(struct timeval* tv)
{
    if (tv == nullptr)
        return -1;
    // tv_usec is left as the caller had it. A 32-bit time_t ends on 2038-01-19: a server
    // time past it reads as 0 rather than as a date in 1901.
    const unsigned long seconds = pavo_relaxed_load(g_servertime);
    const bool fits = sizeof(time_t) >= 8 ||
                      seconds <= static_cast<unsigned long>(std::numeric_limits<time_t>::max());
    tv->tv_sec = fits ? static_cast<time_t>(seconds) : 0;
    return 0;
}

pavo_status_t pavo_downloadresource(unsigned eventid, const char* resourceurl,
                                    const char* localpath)
{
    if (resourceurl == nullptr || localpath == nullptr) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "pavo_downloadresource: a NULL argument");
        return PAVO_STATUS_FAILURE;
    }
    PavoCall call;  // pavo_cleanup waits for the stored result too
    if (!call)
        return PAVO_STATUS_FAILURE;

    // The download posts an empty body; the pipeline writes the answer to the
    // file instead of handing it back.
    tpavo_httpecode httpecode = PAVO_HTTPE_OK;
    long httpretcode = 0;
    pavo_status_t status = pavo_addhttpjob(STORETYPE_FILE, localpath, PAVO_CALLBACK_EPG, 0,
                                           static_cast<int>(eventid), EPAVO_RESOURCEDOWNLOAD,
                                           EPAVO_SCOPE_REQUEST, resourceurl, "", 0, nullptr,
                                           nullptr, &httpecode, &httpretcode);
    if (pavo_getfuncmode() == FUNCMODE_SYNC &&
        (status == PAVO_STATUS_SUCCESS || pavo_relaxed_load(g_pavo_env.errorresults) != 0)) {
        pavo_answer answer = {nullptr, 0, httpecode, httpretcode, status != 0};
        if (pavo_inner_finishrequest(nullptr, &answer, nullptr, EPAVO_RESOURCEDOWNLOAD,
                                     static_cast<int>(eventid)) != PAVO_STATUS_SUCCESS)
            status = PAVO_STATUS_FAILURE;
    }
    return status;
}

}  // extern "C"
