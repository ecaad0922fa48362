// Small text helpers shared by the simulator's modules: hexadecimal digits and the digits
// of a date. One definition each; form.cpp, authenticator.cpp and the services call them.
#pragma once

#include <string>
#include <string_view>

namespace sim {

// 0-15 for "0"-"9", "A"-"F", "a"-"f"; -1 for any other character.
int hex_digit_value(char c);

// The decimal digits of a text in order: "2026-01-02 06:00:00" gives "20260102060000".
std::string digits_of(std::string_view text);

}  // namespace sim
