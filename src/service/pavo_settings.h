/*
 * pavo_settings.h - the settings: what start-up reads from section "system"
 * of korix.conf into the environment record, in one place. A new setting is
 * one row of the session field table and one field in tpavo_env.
 */
#ifndef PAVO_SETTINGS_H
#define PAVO_SETTINGS_H

#include "service/pavo_global.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads every setting of the session field table from the configuration file conf into
 * env. In emulator mode the log settings are left as the application set them
 * up; otherwise the log is opened once they are read. */
void pavo_inner_readsettings(tpavo_env* env, const char* conf);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SETTINGS_H */
