/*
 * pavo_service_encode.cpp - the form value encoder of the service requests:
 * pavo_urlencode, its bounded twin for the requests' fixed scratch buffer,
 * and the digit helper pavo_toHex. Called by pavo_service_requests.cpp and
 * offered to applications.
 */
#include <stddef.h>
#include <stdint.h>

#include "service/pavo_service_requests.h"

namespace {

bool is_c_alnum(signed char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_c_space(signed char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Writes the encoding of sIn, at most limit characters (a cut may fall inside
// a "%XY" triple, as the form body's own bound would cut it), and a NUL.
void encode_into(const char* sIn, char* sOut, size_t limit)
{
    size_t length = 0;
    auto put = [&](char c) {
        if (length < limit)
            sOut[length++] = c;
    };
    for (const char* p = sIn; *p != '\0' && length < limit; ++p) {
        // The platform reads its bytes as signed chars: bytes above 127 get
        // digits outside the hex alphabet ("%/0", "%5+", "%66"). Kept.
        signed char c = static_cast<signed char>(*p);
        if (is_c_alnum(c)) {
            put(static_cast<char>(c));
        } else if (is_c_space(c)) {
            put('+');
        } else {
            put('%');
            put(static_cast<char>(pavo_toHex(static_cast<unsigned char>((c >> 4) & 0xFF))));
            put(static_cast<char>(pavo_toHex(static_cast<unsigned char>((c % 16) & 0xFF))));
        }
    }
    sOut[length] = '\0';
}

}  // namespace

extern "C" {

unsigned char pavo_toHex(unsigned char x)
{
    if (x < 10)
        return static_cast<unsigned char>(x + 48);
    return static_cast<unsigned char>((x + 55) % 256);
}

// The caller's buffer holds three times the input length plus one.
char* pavo_urlencode(const char* sIn, char* sOut)
{
    if (sOut == nullptr)
        return nullptr;
    if (sIn == nullptr) {
        sOut[0] = '\0';
        return sOut;
    }
    encode_into(sIn, sOut, SIZE_MAX);
    return sOut;
}

char* pavo_inner_urlencode_bounded(const char* sIn, char* sOut, size_t outsize)
{
    if (sOut == nullptr || outsize == 0)
        return sOut;
    if (sIn == nullptr) {
        sOut[0] = '\0';
        return sOut;
    }
    encode_into(sIn, sOut, outsize - 1);
    return sOut;
}

}  // extern "C"
