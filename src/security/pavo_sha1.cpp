/*
 * pavo_sha1.cpp - SHA-1 (FIPS 180-1) and HMAC-SHA1 (RFC 2104) over the
 * caller's pavo_sha1context. The hex digest that keys the authenticator uses
 * the starts/update/finish trio; the file digest and the HMAC functions are
 * offered to the application only.
 */
#include "security/pavo_sha1.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include <openssl/crypto.h>

extern "C" const unsigned char pavo_sha1padding[64] = {0x80};

namespace {

constexpr int kBlockSize = 64;
constexpr int kDigestSize = 20;
constexpr size_t kFileChunk = 1024;

uint32_t load_be32(const unsigned char* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) |
           uint32_t(p[3]);
}

void store_be32(uint32_t v, unsigned char* p)
{
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

constexpr uint32_t rotl(uint32_t v, int n) { return (v << n) | (v >> (32 - n)); }

void process_block(pavo_sha1context* ctx, const unsigned char block[kBlockSize])
{
    uint32_t w[80];
    for (int t = 0; t < 16; ++t)
        w[t] = load_be32(block + 4 * t);
    for (int t = 16; t < 80; ++t)
        w[t] = rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);

    uint32_t a = ctx->state[0], b = ctx->state[1], c = ctx->state[2];
    uint32_t d = ctx->state[3], e = ctx->state[4];
    for (int t = 0; t < 80; ++t) {
        uint32_t f, k;
        if (t < 20) {
            f = (b & c) | (~b & d);
            k = 0x5A827999;
        } else if (t < 40) {
            f = b ^ c ^ d;
            k = 0x6ED9EBA1;
        } else if (t < 60) {
            f = (b & c) | (b & d) | (c & d);
            k = 0x8F1BBCDC;
        } else {
            f = b ^ c ^ d;
            k = 0xCA62C1D6;
        }
        uint32_t temp = rotl(a, 5) + f + e + w[t] + k;
        e = d;
        d = c;
        c = rotl(b, 30);
        b = a;
        a = temp;
    }
    ctx->state[0] += a;
    ctx->state[1] += b;
    ctx->state[2] += c;
    ctx->state[3] += d;
    ctx->state[4] += e;
}

}  // namespace

extern "C" {

// A null context or output is ignored rather than written through.
void pavo_sha1starts(pavo_sha1context* ctx)
{
    if (ctx == nullptr)
        return;
    ctx->total[0] = 0;
    ctx->total[1] = 0;
    ctx->state[0] = 0x67452301;
    ctx->state[1] = 0xEFCDAB89;
    ctx->state[2] = 0x98BADCFE;
    ctx->state[3] = 0x10325476;
    ctx->state[4] = 0xC3D2E1F0;
}

void pavo_sha1update(pavo_sha1context* ctx, const unsigned char* input, int ilen)
{
    if (ctx == nullptr || ilen <= 0 || input == nullptr)
        return;
    uint32_t length = static_cast<uint32_t>(ilen);
    uint32_t pending = ctx->total[0] & 0x3F;
    ctx->total[0] += length;
    if (ctx->total[0] < length)
        ctx->total[1]++;

    uint32_t room = kBlockSize - pending;
    if (pending != 0 && length >= room) {
        std::memcpy(ctx->buffer + pending, input, room);
        process_block(ctx, ctx->buffer);
        input += room;
        length -= room;
        pending = 0;
    }
    while (length >= static_cast<uint32_t>(kBlockSize)) {
        process_block(ctx, input);
        input += kBlockSize;
        length -= kBlockSize;
    }
    if (length > 0)
        std::memcpy(ctx->buffer + pending, input, length);
}

void pavo_sha1finish(pavo_sha1context* ctx, unsigned char output[20])
{
    if (ctx == nullptr || output == nullptr)
        return;
    uint32_t high = (ctx->total[0] >> 29) | (ctx->total[1] << 3);
    uint32_t low = ctx->total[0] << 3;
    unsigned char bit_length[8];
    store_be32(high, bit_length);
    store_be32(low, bit_length + 4);

    uint32_t pending = ctx->total[0] & 0x3F;
    uint32_t padding = (pending < 56) ? (56 - pending) : (120 - pending);
    pavo_sha1update(ctx, pavo_sha1padding, static_cast<int>(padding));
    pavo_sha1update(ctx, bit_length, 8);

    for (int i = 0; i < 5; ++i)
        store_be32(ctx->state[i], output + 4 * i);
}

void sha1(const unsigned char* input, int ilen, unsigned char output[20])
{
    if (output == nullptr)
        return;
    pavo_sha1context ctx;
    pavo_sha1starts(&ctx);
    pavo_sha1update(&ctx, input, ilen);
    pavo_sha1finish(&ctx, output);
    OPENSSL_cleanse(&ctx, sizeof ctx);
}

int pavo_sha1file(const char* path, unsigned char output[20])
{
    FILE* file = (path != nullptr) ? std::fopen(path, "rb") : nullptr;
    if (file == nullptr)
        return 1;

    pavo_sha1context ctx;
    unsigned char chunk[kFileChunk];
    pavo_sha1starts(&ctx);
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        pavo_sha1update(&ctx, chunk, static_cast<int>(got));
    pavo_sha1finish(&ctx, output);
    OPENSSL_cleanse(&ctx, sizeof ctx);

    // The digest of what was read is written even when the read failed.
    int status = std::ferror(file) ? 2 : 0;
    std::fclose(file);
    return status;
}

void pavo_sha1hmac_starts(pavo_sha1context* ctx, const unsigned char* key, int keylen)
{
    unsigned char hashed_key[kDigestSize];
    if (ctx == nullptr)
        return;
    if (key == nullptr || keylen < 0)
        keylen = 0;
    if (keylen > kBlockSize) {
        sha1(key, keylen, hashed_key);
        key = hashed_key;
        keylen = kDigestSize;
    }
    std::memset(ctx->ipad, 0x36, sizeof ctx->ipad);
    std::memset(ctx->opad, 0x5C, sizeof ctx->opad);
    for (int i = 0; i < keylen; ++i) {
        ctx->ipad[i] ^= key[i];
        ctx->opad[i] ^= key[i];
    }
    pavo_sha1starts(ctx);
    pavo_sha1update(ctx, ctx->ipad, kBlockSize);
    OPENSSL_cleanse(hashed_key, sizeof hashed_key);
}

void pavo_sha1hmac_update(pavo_sha1context* ctx, const unsigned char* input, int ilen)
{
    pavo_sha1update(ctx, input, ilen);
}

void pavo_sha1hmac_finish(pavo_sha1context* ctx, unsigned char output[20])
{
    unsigned char inner[kDigestSize];
    if (ctx == nullptr || output == nullptr)
        return;
    pavo_sha1finish(ctx, inner);
    pavo_sha1starts(ctx);
    pavo_sha1update(ctx, ctx->opad, kBlockSize);
    pavo_sha1update(ctx, inner, kDigestSize);
    pavo_sha1finish(ctx, output);
    OPENSSL_cleanse(inner, sizeof inner);
}

void pavo_sha1hmac(const unsigned char* key, int keylen, const unsigned char* input, int ilen,
                   unsigned char output[20])
{
    pavo_sha1context ctx;
    pavo_sha1hmac_starts(&ctx, key, keylen);
    pavo_sha1hmac_update(&ctx, input, ilen);
    pavo_sha1hmac_finish(&ctx, output);
    OPENSSL_cleanse(&ctx, sizeof ctx);
}

}  // extern "C"
