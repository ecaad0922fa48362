/*
 * pavo_sha1.h - internal declarations of the SHA-1 module. The digest and
 * HMAC functions themselves are public; this adds the shared padding block
 * for code inside the library.
 */
#ifndef PAVO_SHA1_H
#define PAVO_SHA1_H

#include "pavo.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 0x80 followed by 63 zero bytes: the start of every message's padding. */
extern const unsigned char pavo_sha1padding[64];

#ifdef __cplusplus
}
#endif

#endif
