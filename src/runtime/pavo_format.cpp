/*
 * pavo_format.cpp - literal copy with "%%" folded to "%", the safe stand-in
 * for printing a value as its own format. See pavo_format.h.
 */
#include "runtime/pavo_format.h"

extern "C" int pavo_format_literal(char* out, size_t size, const char* text)
{
    size_t written = 0;
    size_t total = 0;
    if (text == nullptr)
        text = "";
    for (const char* p = text; *p != '\0'; ++p) {
        if (p[0] == '%' && p[1] == '%')
            ++p;
        if (written + 1 < size)
            out[written++] = *p;
        ++total;
    }
    if (size > 0)
        out[written] = '\0';
    return static_cast<int>(total);
}
