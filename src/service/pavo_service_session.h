/*
 * pavo_service_session.h - the session's internal calls: the property store's
 * path of korix.conf and its read of one row of the session field table, and
 * the open and login write-backs that the pipeline's answer ending and the
 * re-login run. The exported property calls are public.
 */
#ifndef PAVO_SERVICE_SESSION_H
#define PAVO_SERVICE_SESSION_H

#include <stddef.h>

#include "pavo.h"

#ifdef __cplusplus
extern "C" {
#endif

/* "workdirectory/korix.conf" into path, cut to pathsize - 1 characters; the
 * library always passes a 256-byte buffer. Returns path. */
char* pavo_inner_configpath(char* path, size_t pathsize);

/* pavo_readprop of a row of the session field table (pavo_service_fields.h);
 * a null row reads as an unknown name. */
struct pavo_session_field;
void pavo_inner_readfield(const struct pavo_session_field* field, char* buffer, int buffersize);

/* Session write-back of a successful answer (non-negative code, a record).
 * Returns 0, or -1 when the answer holds a value the session must not take
 * (logged once); nothing is written then. */
typedef int (*pavo_writeback_fn)(const tpavo_result* result);

/* Login: state LOGINED and seventeen session properties. */
int pavo_inner_writeback_login(const tpavo_result* result);

/* Open: state OPENED and the user id and account addresses persisted in
 * section "system" of korix.conf. */
int pavo_inner_writeback_open(const tpavo_result* result);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SERVICE_SESSION_H */
