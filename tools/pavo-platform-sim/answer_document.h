// The one builder of answer documents: a small element tree and its serialisation in the
// shape the terminal's parsers accept ("Root", first child "Result" with "ResultCode" and
// "ResultMsg" attributes, then the body). Every service handler answers through here.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

struct Attribute {
    std::string name;
    std::string value;
};

struct Element {
    std::string name;
    std::vector<Attribute> attributes;
    std::string text;
    std::vector<Element> children;
};

// A platform outcome: 0 and "success", or a negative code with its message.
struct Outcome {
    int code;
    const char* message;
};

inline constexpr Outcome kSuccess{0, "success"};
inline constexpr Outcome kInvalidToken{-101, "invalid user token"};
inline constexpr Outcome kBadAuthenticator{-102, "invalid authenticator"};
inline constexpr Outcome kUserMismatch{-103, "authenticator does not match the user"};
inline constexpr Outcome kTerminalMismatch{-104, "terminal is not bound to this account"};
inline constexpr Outcome kUnknownAccount{-105, "account not found"};
inline constexpr Outcome kBadOpenMode{-106, "unknown open mode"};
inline constexpr Outcome kBadRecharge{-107, "invalid or used recharge parameter"};
inline constexpr Outcome kUnknownCategory{-201, "category not found"};
inline constexpr Outcome kUnknownItem{-202, "item not found"};
inline constexpr Outcome kUnknownChannel{-203, "channel not found"};
inline constexpr Outcome kUnknownClip{-204, "video clip not found"};
inline constexpr Outcome kNotDownloadable{-205, "video clip cannot be downloaded"};

// Root, Result (holding `inside_result`), then `body`, as one text with an XML declaration.
std::string answer_document(Outcome outcome, std::vector<Element> body = {},
                            std::vector<Element> inside_result = {});

// "Response" with one text child per field, in the given order: the terminal reads the
// fields with a forward-only search, so the order is the contract.
Element response_element(const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace sim
