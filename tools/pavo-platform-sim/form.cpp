// Decoder of form bodies; see form.h. Never fails: any byte sequence yields some pairs.
#include "form.h"

#include "text.h"

#include <cstdlib>

namespace sim {

std::string decode_form_text(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '+') {
            out += ' ';
        } else if (c == '%' && i + 2 < text.size()) {
            int high = hex_digit_value(text[i + 1]);
            int low = hex_digit_value(text[i + 2]);
            if (high >= 0 && low >= 0)
                out += static_cast<char>(high * 16 + low);
            else
                out.append(text.substr(i, 3));  // "%5+" stays "%5+", its "+" is no blank
            i += 2;
        } else {
            out += c;
        }
    }
    return out;
}

Form Form::parse(std::string_view body)
{
    Form form;
    while (!body.empty()) {
        size_t end = body.find('&');
        std::string_view pair = body.substr(0, end);
        body = end == std::string_view::npos ? std::string_view() : body.substr(end + 1);
        if (pair.empty())
            continue;
        size_t equals = pair.find('=');
        std::string_view key = pair.substr(0, equals);
        std::string_view value = equals == std::string_view::npos ? std::string_view()
                                                                  : pair.substr(equals + 1);
        form.pairs_.emplace_back(decode_form_text(key), decode_form_text(value));
    }
    return form;
}

bool Form::has(std::string_view key) const
{
    for (const auto& pair : pairs_)
        if (pair.first == key)
            return true;
    return false;
}

std::string Form::text(std::string_view key) const
{
    for (const auto& pair : pairs_)
        if (pair.first == key)
            return pair.second;
    return std::string();
}

int Form::number(std::string_view key) const { return std::atoi(text(key).c_str()); }

}  // namespace sim
