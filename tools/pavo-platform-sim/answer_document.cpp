// Serialisation of answer documents; see answer_document.h. Indented for people reading
// recorded traffic; the terminal's navigator skips whitespace-only text between elements.
#include "answer_document.h"

namespace sim {
namespace {

void append_escaped(std::string& out, std::string_view text, bool in_attribute)
{
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            if (in_attribute) {
                out += "&quot;";
                break;
            }
            [[fallthrough]];
        default:
            out += c;
        }
    }
}

void write_element(std::string& out, const Element& element, int depth)
{
    out.append(static_cast<size_t>(depth) * 2, ' ');
    out += '<';
    out += element.name;
    for (const Attribute& attribute : element.attributes) {
        out += ' ';
        out += attribute.name;
        out += "=\"";
        append_escaped(out, attribute.value, true);
        out += '"';
    }
    if (element.children.empty() && element.text.empty()) {
        out += "/>\n";
        return;
    }
    out += '>';
    if (element.children.empty()) {
        append_escaped(out, element.text, false);
    } else {
        out += '\n';
        for (const Element& child : element.children)
            write_element(out, child, depth + 1);
        out.append(static_cast<size_t>(depth) * 2, ' ');
    }
    out += "</";
    out += element.name;
    out += ">\n";
}

}  // namespace

std::string answer_document(Outcome outcome, std::vector<Element> body,
                            std::vector<Element> inside_result)
{
    Element result{"Result",
                   {{"ResultCode", std::to_string(outcome.code)}, {"ResultMsg", outcome.message}},
                   "",
                   std::move(inside_result)};
    Element root{"Root", {}, "", {}};
    root.children.push_back(std::move(result));
    for (Element& element : body)
        root.children.push_back(std::move(element));
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    write_element(out, root, 0);
    return out;
}

Element response_element(const std::vector<std::pair<std::string, std::string>>& fields)
{
    Element response{"Response", {}, "", {}};
    for (const auto& [name, value] : fields)
        response.children.push_back({name, {}, value, {}});
    return response;
}

}  // namespace sim
