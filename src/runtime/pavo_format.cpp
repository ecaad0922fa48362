/*
 * pavo_format.cpp - the no-argument format helper: a literal copy with "%%"
 * folded to "%", the safe stand-in for printing a value as its own format.
 */
#include "runtime/pavo_format.h"

// Copied in runs that end at a folded "%", so a field set from its own value
// is read before it is written.
size_t pavo_format_literal(PavoText& out, const char* text)
{
    if (text == nullptr)
        text = "";
    size_t total = 0;
    const char* run = text;
    const char* p = text;
    while (*p != '\0') {
        if (p[0] == '%' && p[1] == '%') {
            out.append(run, static_cast<size_t>(p + 1 - run));
            total += static_cast<size_t>(p + 1 - run);
            p += 2;
            run = p;
        } else {
            ++p;
        }
    }
    out.append(run, static_cast<size_t>(p - run));
    return total + static_cast<size_t>(p - run);
}

extern "C" int pavo_format_literal(char* out, size_t size, const char* text)
{
    PavoText literal(out, size);
    return static_cast<int>(pavo_format_literal(literal, text));
}
