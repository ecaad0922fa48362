/*
 * encrypthelper.h - the two triple-DES helpers whose prototypes need
 * OpenSSL's DES types, kept out of the public header so that it does not pull
 * in libcrypto, and what the authenticator, the cipher and the hex forms share
 * (hex text, the bounded cipher). The rest of the authenticator is public.
 */
#ifndef PAVO_ENCRYPTHELPER_H
#define PAVO_ENCRYPTHELPER_H

#include <stddef.h>

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

/* Two upper-case hex characters a byte, high nibble first, then a NUL. */
void pavo_inner_upperhex(const unsigned char* bytes, size_t count, char* out);

/* Enciphers at most 1023 bytes into upper-case hex; a longer (or negative)
 * length gives an empty cipher text. */
void pavo_inner_encrypt_text(const char* message, int messagelen, const char* key, int keylen,
                             char* outmessage);

#ifdef __cplusplus
}
#endif

#endif
