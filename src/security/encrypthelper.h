/*
 * encrypthelper.h - the two triple-DES helpers whose prototypes need
 * OpenSSL's DES types, kept out of pavo.h so the public header does not pull
 * in libcrypto. The rest of the authenticator interface is in pavo.h.
 */
#ifndef PAVO_ENCRYPTHELPER_H
#define PAVO_ENCRYPTHELPER_H

#include <openssl/des.h>

#include "pavo.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Pads a Password shorter than 24 characters with "0" after its current end
 * (the buffer must have room), then splits characters 0-7, 8-15 and 16-23
 * into the three keys as they are: no parity is set or checked. */
void pavo_generatekeys(char* Password, int PasswordLen, DES_cblock* key1, DES_cblock* key2,
                       DES_cblock* key3);

/* libcrypto's DES_ecb3_encrypt unchanged: enc non-zero enciphers. */
void pavo_DES_ecb3_encrypt(DES_cblock* input, DES_cblock* output, DES_key_schedule* ks1,
                           DES_key_schedule* ks2, DES_key_schedule* ks3, int enc);

#ifdef __cplusplus
}
#endif

#endif
