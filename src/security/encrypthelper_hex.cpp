/*
 * encrypthelper_hex.cpp - the text forms of bytes that the authenticator and
 * its callers use: upper-case hex in both directions, the SHA-1 digest as hex
 * text, and the byte-order helpers.
 */
#include "runtime/pavo_runtime.h"
#include "security/encrypthelper.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kHexBufferSize = 1024;
constexpr int kMaxHexInput = 511;  // 2 x 511 + NUL fits the buffer

}  // namespace

extern "C" {

/* Two upper-case hex characters a byte, high nibble first, then a NUL. */
void pavo_inner_upperhex(const unsigned char* bytes, size_t count, char* out)
{
    static const char digits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < count; ++i) {
        out[2 * i] = digits[bytes[i] >> 4];
        out[2 * i + 1] = digits[bytes[i] & 0x0F];
    }
    out[2 * count] = '\0';
}

void pavo_stringToHex(char* s, int srclen, char* outstr)
{
    if (outstr == nullptr)
        return;
    char buffer[kHexBufferSize] = {0};
    // Longer input would not fit the buffer with its terminator: refused.
    if (s != nullptr && srclen > 0 && srclen <= kMaxHexInput)
        pavo_inner_upperhex(reinterpret_cast<const unsigned char*>(s),
                            static_cast<size_t>(srclen), buffer);
    std::memcpy(outstr, buffer, std::strlen(buffer) + 1);
}

void pavo_hexTostring(char* s, char* outstr, int* outputlen)
{
    char buffer[kHexBufferSize] = {0};
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
        pavo_inner_upperhex(digest, sizeof digest, outmessage);
    return 0;
}

int pavo_is_little_endian(void)
{
    return 1;  // fixed for the little-endian target
}

uint64_t pavo_convert_to_bigendian(uint64_t num)
{
    if (pavo_is_little_endian()) {
        pavo_inner_diagnostic(stdout, "is little endian, convert to big endian");
        return __builtin_bswap64(num);
    }
    pavo_inner_diagnostic(stdout, "is big endian");
    return num;
}

}  // extern "C"
