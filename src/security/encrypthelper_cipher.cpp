/*
 * encrypthelper_cipher.cpp - the triple-DES string cipher in both directions:
 * the key schedules derived from a key text, PKCS#5 padding, upper-case hex
 * cipher text. Used by the authenticator's builder and exported as
 * pavo_encrypt and pavo_decrypt.
 */
#include "security/encrypthelper.h"

#include <cstring>

#include <openssl/crypto.h>

namespace {

constexpr int kKeyTextLength = 24;      // three DES keys of 8 characters
constexpr int kKeyBufferSize = 256;     // key text is cut to 255 characters
constexpr int kBlockBufferSize = 1024;  // cipher working buffers
constexpr int kMaxBlocks = kBlockBufferSize / 8;
constexpr int kMaxMessage = kBlockBufferSize - 1;  // padding always adds a byte
constexpr int kTextBufferSize = 4096;

struct KeySchedules {
    DES_key_schedule ks[3];
};

/* Key text (cut to 255 characters) -> three key schedules. */
void make_key_schedules(const char* key, int keylen, KeySchedules* schedules)
{
    char keybuffer[kKeyBufferSize] = {0};
    int length = (key == nullptr || keylen < 0) ? 0 : keylen;
    if (length > kKeyBufferSize - 1)
        length = kKeyBufferSize - 1;
    if (length > 0)
        std::memcpy(keybuffer, key, static_cast<size_t>(length));

    DES_cblock keys[3] = {{0}, {0}, {0}};
    pavo_generatekeys(keybuffer, length, &keys[0], &keys[1], &keys[2]);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    for (int i = 0; i < 3; ++i)
        DES_set_key_unchecked(&keys[i], &schedules->ks[i]);
#pragma GCC diagnostic pop
    OPENSSL_cleanse(keybuffer, sizeof keybuffer);
    OPENSSL_cleanse(keys, sizeof keys);
}

void run_blocks(DES_cblock* in, DES_cblock* out, int blocks, KeySchedules* schedules, int enc)
{
    for (int b = 0; b < blocks; ++b)
        pavo_DES_ecb3_encrypt(&in[b], &out[b], &schedules->ks[0], &schedules->ks[1],
                              &schedules->ks[2], enc);
}

/* Enciphers at most kMaxMessage bytes; a longer (or negative) length is
 * refused with an empty cipher text rather than cut, so that no caller sends
 * the cipher of a different message. */
}  // namespace

extern "C" {

void pavo_inner_encrypt_text(const char* message, int messagelen, const char* key, int keylen,
                             char* outmessage)
{
    if (outmessage == nullptr)
        return;
    if (messagelen < 0 || messagelen > kMaxMessage || (message == nullptr && messagelen > 0)) {
        outmessage[0] = '\0';
        return;
    }
    KeySchedules schedules;
    make_key_schedules(key, keylen, &schedules);

    // PKCS#5: a length that is a multiple of 8 gets a whole block of 8s.
    int blocks = messagelen / 8 + 1;
    int rest = messagelen - 8 * (messagelen / 8);
    DES_cblock plain[kMaxBlocks] = {{0}};
    DES_cblock cipher[kMaxBlocks] = {{0}};
    unsigned char* plain_bytes = plain[0];
    if (messagelen > 0)
        std::memcpy(plain_bytes, message, static_cast<size_t>(messagelen));
    std::memset(plain_bytes + messagelen, 8 - rest, static_cast<size_t>(8 - rest));
    run_blocks(plain, cipher, blocks, &schedules, DES_ENCRYPT);

    char text[kTextBufferSize] = {0};
    pavo_inner_upperhex(cipher[0], static_cast<size_t>(blocks) * 8, text);
    std::memcpy(outmessage, text, static_cast<size_t>(blocks) * 16 + 1);
    OPENSSL_cleanse(&schedules, sizeof schedules);
    OPENSSL_cleanse(plain, sizeof plain);
}

void pavo_encrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage)
{
    (void)cryptmode;
    pavo_inner_encrypt_text(message, messagelen, key, keylen, outmessage);
}

void pavo_decrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage)
{
    (void)cryptmode;
    (void)messagelen;  // the length comes from the hex text itself
    if (outmessage == nullptr)
        return;
    size_t hexlength = (message != nullptr) ? std::strlen(message) : 0;
    if (hexlength / 2 > static_cast<size_t>(kBlockBufferSize)) {
        outmessage[0] = '\0';  // beyond the block buffer: refused, like encryption
        return;
    }
    char bytes[kTextBufferSize] = {0};
    int length = 0;
    pavo_hexTostring(message, bytes, &length);

    KeySchedules schedules;
    make_key_schedules(key, keylen, &schedules);
    // One block more than a well-formed cipher holds: the extra block is
    // deciphered from the zeros behind it and ends up cut away below. For the
    // longest cipher (128 blocks) it would lie past the buffer and is dropped.
    int blocks = length / 8 + 1;
    if (blocks > kMaxBlocks)
        blocks = kMaxBlocks;
    DES_cblock cipher[kMaxBlocks] = {{0}};
    DES_cblock plain[kMaxBlocks] = {{0}};
    std::memcpy(cipher, bytes, static_cast<size_t>(blocks) * 8);
    run_blocks(cipher, plain, blocks, &schedules, DES_DECRYPT);

    // Padding bytes (1-8) end the text; any plain byte below 9 cuts it too.
    unsigned char* plain_bytes = plain[0];
    size_t total = static_cast<size_t>(blocks) * 8;
    size_t end = 0;
    for (size_t i = 0; i < total; ++i)
        if (plain_bytes[i] < 9)
            plain_bytes[i] = 0;
    while (end < total && plain_bytes[end] != 0)
        ++end;
    std::memcpy(outmessage, plain_bytes, end);
    outmessage[end] = '\0';
    OPENSSL_cleanse(&schedules, sizeof schedules);
    OPENSSL_cleanse(plain, sizeof plain);
}

void pavo_generatekeys(char* Password, int PasswordLen, DES_cblock* key1, DES_cblock* key2,
                       DES_cblock* key3)
{
    if (Password == nullptr)
        return;
    if (PasswordLen < 0)
        PasswordLen = 0;
    // Appended after the string's current end, which is before PasswordLen
    // when the text holds a NUL.
    for (int i = PasswordLen; i < kKeyTextLength; ++i) {
        size_t end = std::strlen(Password);
        Password[end] = '0';
        Password[end + 1] = '\0';
    }
    std::memcpy(key1, Password, 8);
    std::memcpy(key2, Password + 8, 8);
    std::memcpy(key3, Password + 16, 8);
}

void pavo_DES_ecb3_encrypt(DES_cblock* input, DES_cblock* output, DES_key_schedule* ks1,
                           DES_key_schedule* ks2, DES_key_schedule* ks3, int enc)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    DES_ecb3_encrypt(input, output, ks1, ks2, ks3, enc);
#pragma GCC diagnostic pop
}

}  // extern "C"
