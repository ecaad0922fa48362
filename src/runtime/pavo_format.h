/*
 * pavo_format.h - the one helper for every place where a value used to be
 * handed to snprintf as its own format (init strings, property setters, the
 * INI rewrite, the IP text). Data is never a format string in this library:
 * the helper turns "%%" into "%" and copies every other byte literally.
 */
#ifndef PAVO_FORMAT_H
#define PAVO_FORMAT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes at most size - 1 bytes and a NUL (nothing for size 0). Returns the
 * length the whole text would have, like snprintf, so callers can see a cut. */
int pavo_format_literal(char* out, size_t size, const char* text);

#ifdef __cplusplus
}

#include "runtime/pavo_text.h"

/* The same into a text being built; returns the whole folded length. */
size_t pavo_format_literal(PavoText& out, const char* text);
#endif

#endif
