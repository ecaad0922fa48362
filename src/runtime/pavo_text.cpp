/*
 * pavo_text.cpp - the bounded text builder: pieces into a fixed buffer one
 * after another, cut silently at its last byte, always ending in a NUL.
 */
#include "runtime/pavo_text.h"

// memmove: a piece may come from the buffer itself, at or after the end.
PavoText& PavoText::append(const char* text, size_t length)
{
    const size_t room = at_ + 1 < size_ ? size_ - 1 - at_ : 0;
    if (length > room) {
        length = room;
        cut_ = true;
    }
    if (length > 0) {
        memmove(buffer_ + at_, text, length);
        at_ += length;
    }
    if (at_ < size_)
        buffer_[at_] = '\0';
    return *this;
}
