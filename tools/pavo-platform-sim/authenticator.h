// The platform's side of the request authenticator: SHA-1 key text, three-key triple-DES in
// ECB mode with PKCS#5 padding, and the source layout
// random$userid$tvid$ip$bizfield$timestamp$Korix. Called by the account services
// (account_service.cpp) to check open, login, logout and recharge, and to sign answers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

// Key text of the open request: the platform and every terminal share this seed.
inline constexpr std::string_view kOpenKeySeed = "482613";

struct AuthenticatorSource {
    std::string random;
    std::string user_id;
    std::string tvid;
    std::string ip;
    std::string bizfield;
    std::string timestamp;
};

// SHA-1 of the bytes as 40 upper-case hexadecimal characters.
std::string sha1_hex(std::string_view bytes);

// Deciphers a hexadecimal authenticator under the key derived from `key_seed` (the user id,
// or kOpenKeySeed) and splits its source. nullopt when the text is not whole blocks of
// hexadecimal, the padding is wrong, or the source is not exactly six "$"-separated fields
// followed by "Korix" with a 1-8 digit random number and a 14 digit timestamp.
std::optional<AuthenticatorSource> read_authenticator(std::string_view hex,
                                                      std::string_view key_seed);

// Enciphers a text the way terminals do; the platform signs its answers with it.
std::string write_authenticator(std::string_view text, std::string_view key_seed);

}  // namespace sim
