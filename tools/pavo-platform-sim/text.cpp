// Text helpers of the simulator; see text.h.
#include "text.h"

namespace sim {

int hex_digit_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

std::string digits_of(std::string_view text)
{
    std::string digits;
    for (char c : text)
        if (c >= '0' && c <= '9')
            digits += c;
    return digits;
}

}  // namespace sim
