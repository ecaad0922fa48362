/*
 * encrypthelper.cpp - the request authenticator and its helpers: random
 * number and timestamp, the triple-DES string cipher in both directions (key
 * derived from a hex digest text), hexadecimal conversions and the SHA-1 text
 * wrapper. The open, login, logout and recharge requests call the builder.
 */
#include "security/encrypthelper.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <openssl/crypto.h>

namespace {

constexpr int kKeyTextLength = 24;      // three DES keys of 8 characters
constexpr int kKeyBufferSize = 256;     // key text is cut to 255 characters
constexpr int kBlockBufferSize = 1024;  // cipher working buffers
constexpr int kMaxBlocks = kBlockBufferSize / 8;
constexpr int kMaxMessage = kBlockBufferSize - 1;  // padding always adds a byte
constexpr int kTextBufferSize = 4096;
constexpr int kSourceSize = 4098;
constexpr int kSmallBufferSize = 32;    // random number and timestamp
constexpr unsigned kRandomRange = 100000000;
constexpr int kMaxHexInput = 511;       // stringToHex: 2 x 511 + NUL fits 1024

struct KeySchedules {
    DES_key_schedule ks[3];
};

const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

/* Two upper-case hex characters a byte, high nibble first, then a NUL. */
void write_upper_hex(const unsigned char* bytes, size_t count, char* out)
{
    static const char digits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < count; ++i) {
        out[2 * i] = digits[bytes[i] >> 4];
        out[2 * i + 1] = digits[bytes[i] & 0x0F];
    }
    out[2 * count] = '\0';
}

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
void encrypt_text(const char* message, int messagelen, const char* key, int keylen,
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
    write_upper_hex(cipher[0], static_cast<size_t>(blocks) * 8, text);
    std::memcpy(outmessage, text, static_cast<size_t>(blocks) * 16 + 1);
    OPENSSL_cleanse(&schedules, sizeof schedules);
    OPENSSL_cleanse(plain, sizeof plain);
}

} // namespace

extern "C" {

void pavo_getrandom(char* buf)
{
    if (buf == nullptr)
        return;
    // Reseeded on every call: two calls within one second give the same number.
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::snprintf(buf, kSmallBufferSize, "%u",
                  static_cast<unsigned>(std::rand()) % kRandomRange);
}

void pavo_gettimestamp(char* buf)
{
    if (buf == nullptr)
        return;
    std::time_t now = std::time(nullptr);
    struct tm local;
    if (localtime_r(&now, &local) == nullptr) {
        buf[0] = '\0';
        return;
    }
    std::strftime(buf, kSmallBufferSize, "%Y%m%d%H%M%S", &local);
}

void pavo_createauthenticator(char* authenticator, tpavo_cryptmode cryptmode,
                              const char* keyvalue, const char* userid, const char* ip,
                              const char* tvid, const char* bizfield)
{
    (void)cryptmode;  // triple-DES is always used
    char random_text[kSmallBufferSize] = {0};
    char timestamp[kSmallBufferSize] = {0};
    char source[kSourceSize] = {0};
    if (authenticator == nullptr) {
        pavo_log_info("NULL authenticator Buffer\r\n");
        return;
    }
    pavo_getrandom(random_text);
    pavo_gettimestamp(timestamp);
    // Field order is random, userid, tvid, ip - not the argument order.
    std::snprintf(source, sizeof source, "%s$%s$%s$%s$%s$%s$Korix", random_text, or_empty(userid),
                  or_empty(tvid), or_empty(ip), or_empty(bizfield), timestamp);
    pavo_log_info("authenticator source:%s\r\n", source);

    const char* key = or_empty(keyvalue);
    encrypt_text(source, static_cast<int>(std::strlen(source)), key,
                 static_cast<int>(std::strlen(key)), authenticator);
    pavo_log_info("\r\n%s\r\n", authenticator);
}

void pavo_encrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage)
{
    (void)cryptmode;
    encrypt_text(message, messagelen, key, keylen, outmessage);
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

void pavo_stringToHex(char* s, int srclen, char* outstr)
{
    if (outstr == nullptr)
        return;
    char buffer[kBlockBufferSize] = {0};
    // Longer input would not fit the buffer with its terminator: refused.
    if (s != nullptr && srclen > 0 && srclen <= kMaxHexInput)
        write_upper_hex(reinterpret_cast<const unsigned char*>(s), static_cast<size_t>(srclen),
                        buffer);
    std::memcpy(outstr, buffer, std::strlen(buffer) + 1);
}

void pavo_hexTostring(char* s, char* outstr, int* outputlen)
{
    char buffer[kBlockBufferSize] = {0};
    size_t count = (s != nullptr) ? std::strlen(s) / 2 : 0;
    if (count > sizeof buffer)
        count = 0;  // more than the buffer holds: refused, nothing written
    for (size_t i = 0; i < count; ++i) {
        char pair[3] = {s[2 * i], s[2 * i + 1], '\0'};
        // strtol's own reading is kept: "1G" is 1, "-1" is 0xFF, "zz" is 0.
        buffer[i] = static_cast<char>(static_cast<unsigned char>(std::strtol(pair, nullptr, 16)));
    }
    if (outputlen != nullptr)
        *outputlen = static_cast<int>(count);
    if (outstr != nullptr)
        std::memcpy(outstr, buffer, count);
}

int pavo_sha1(char* message, int messagelen, char* outmessage)
{
    unsigned char digest[20];
    pavo_sha1context ctx;
    pavo_sha1starts(&ctx);
    pavo_sha1update(&ctx, reinterpret_cast<const unsigned char*>(message), messagelen);
    pavo_sha1finish(&ctx, digest);
    if (outmessage != nullptr)
        write_upper_hex(digest, sizeof digest, outmessage);
    return 0;
}

int pavo_is_little_endian(void)
{
    return 1;  // fixed for the little-endian target
}

uint64_t pavo_convert_to_bigendian(uint64_t num)
{
    if (pavo_is_little_endian()) {
        std::fputs("is little endian, convert to big endian", stdout);
        return __builtin_bswap64(num);
    }
    std::fputs("is big endian", stdout);
    return num;
}

} // extern "C"
