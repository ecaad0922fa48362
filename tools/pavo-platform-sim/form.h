// Form bodies of the terminal's requests: "key=value&" pairs as the library encodes them.
// Owns the decoder; the service frame (platform.cpp) parses every body here once and the
// handlers read fields by name.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

// "+" is a space and "%" with two hexadecimal digits a byte; a "%" with any other two
// characters is kept with them as it stands. The terminal writes bytes of 0x80 and above
// with digits outside the hexadecimal alphabet ("%/0", "%5+"); those arrive as text, never
// as a failure (and "%66", its form of 0xFF, reads as "f").
std::string decode_form_text(std::string_view text);

class Form {
public:
    static Form parse(std::string_view body);

    bool has(std::string_view key) const;
    // The first value of the key, empty when absent.
    std::string text(std::string_view key) const;
    // Leading decimal number as atoi reads it; 0 when absent or not numeric.
    int number(std::string_view key) const;

private:
    std::vector<std::pair<std::string, std::string>> pairs_;
};

}  // namespace sim
