/*
 * pavo_service_props.h - internal helpers of the session property store
 * (pavo_service_props.cpp) shared with the lifecycle: the path of the
 * configuration file korix.conf. The exported property calls are in pavo.h.
 */
#ifndef PAVO_SERVICE_PROPS_H
#define PAVO_SERVICE_PROPS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* "workdirectory/korix.conf" into path, cut to pathsize - 1 characters; the
 * library always passes a 256-byte buffer. Returns path. */
char* pavo_inner_configpath(char* path, size_t pathsize);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SERVICE_PROPS_H */
