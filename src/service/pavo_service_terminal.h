/*
 * pavo_service_terminal.h - the terminal's identity as start-up fills it: the
 * identity fields, the TVID and the profile. The IP probe and the padding
 * helper behind the TVID (exported, internal) are among the environment's
 * entry points.
 */
#ifndef PAVO_SERVICE_TERMINAL_H
#define PAVO_SERVICE_TERMINAL_H

#include "service/pavo_global.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the identity and directories of param into env, then builds the
 * TVID and the terminal profile from them. */
void pavo_inner_copyidentity(tpavo_env* env, const pavo_init_param* param);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SERVICE_TERMINAL_H */
