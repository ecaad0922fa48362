/*
 * pavo_text.h - the library's one bounded text builder: pieces go into a fixed
 * buffer one after another, what does not fit before its last byte is cut
 * silently, and each piece leaves the text ending in a NUL. Fixed fields,
 * URLs, request bodies, the INI rewrite and the encoders are built with it.
 */
#ifndef PAVO_TEXT_H
#define PAVO_TEXT_H

#include <stddef.h>
#include <string.h>

class PavoText {
public:
    // The text continues at `at` (0 for a new one). Nothing is written until
    // the first piece, so a text may be built from a copy of its own buffer's
    // earlier content; one that may get no piece at all starts with "".
    PavoText(char* buffer, size_t size, size_t at = 0) : buffer_(buffer), size_(size), at_(at) {}

    // length bytes of text, or those that fit before the buffer's last byte,
    // then a NUL (none when the end lies outside the buffer).
    PavoText& append(const char* text, size_t length);
    PavoText& append(const char* text) { return append(text, strlen(text)); }
    PavoText& append(char c) { return append(&c, 1); }

    size_t length() const { return at_; }
    // Some byte did not fit.
    bool cut() const { return cut_; }

private:
    char* buffer_;
    size_t size_;
    size_t at_;
    bool cut_ = false;
};

#endif /* PAVO_TEXT_H */
