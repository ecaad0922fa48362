/*
 * pavo_service_encode.cpp - the form value encoder of the service requests:
 * pavo_urlencode, its forms that encode into a text being built or into a
 * fixed buffer, and the digit helper pavo_toHex. Called by the requests and
 * the re-login's token rewrite, and offered to applications.
 */
#include <stddef.h>
#include <stdint.h>

#include "runtime/pavo_runtime.h"
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
    return pavo_inner_urlencode_cut(sIn, sOut, SIZE_MAX);
}

char* pavo_inner_urlencode_cut(const char* sIn, char* sOut, size_t outsize)
{
    if (sOut == nullptr || outsize == 0)
        return sOut;
    PavoText text(sOut, outsize);
    text.append("", 0);
    pavo_inner_urlencode_into(text, sIn);
    return sOut;
}

}  // extern "C"

// A cut may fall inside a "%XY" triple, as the form body's own bound cuts it.
void pavo_inner_urlencode_into(PavoText& out, const char* sIn)
{
    if (sIn == nullptr)
        return;
    for (const char* p = sIn; *p != '\0' && !out.cut(); ++p) {
        // The platform reads its bytes as signed chars: bytes above 127 get
        // digits outside the hex alphabet ("%/0", "%5+", "%66"). Kept.
        signed char c = static_cast<signed char>(*p);
        if (is_c_alnum(c)) {
            out.append(static_cast<char>(c));
        } else if (is_c_space(c)) {
            out.append('+');
        } else {
            const char triple[] = {
                '%', static_cast<char>(pavo_toHex(static_cast<unsigned char>((c >> 4) & 0xFF))),
                static_cast<char>(pavo_toHex(static_cast<unsigned char>((c % 16) & 0xFF)))};
            out.append(triple, sizeof triple);
        }
    }
}
