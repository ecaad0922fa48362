// Authenticator check and signing on OpenSSL libcrypto; see authenticator.h.
#include "authenticator.h"

#include "text.h"

#include <openssl/evp.h>

#include <memory>
#include <vector>

namespace sim {
namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

// The three DES keys are the character codes of the first 24 hexadecimal characters of the
// SHA-1 text (characters 25 to 40 are unused); parity bits are ignored by the cipher.
std::string triple_des_key(std::string_view key_seed) { return sha1_hex(key_seed).substr(0, 24); }

std::optional<std::string> run_cipher(std::string_view input, std::string_view key_seed,
                                      bool encipher)
{
    CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!context)
        return std::nullopt;
    std::string key = triple_des_key(key_seed);
    if (EVP_CipherInit_ex(context.get(), EVP_des_ede3_ecb(), nullptr,
                          reinterpret_cast<const unsigned char*>(key.data()), nullptr,
                          encipher ? 1 : 0) != 1)
        return std::nullopt;
    std::vector<unsigned char> output(input.size() + 16);
    int written = 0;
    int final_written = 0;
    if (EVP_CipherUpdate(context.get(), output.data(), &written,
                         reinterpret_cast<const unsigned char*>(input.data()),
                         static_cast<int>(input.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), output.data() + written, &final_written) != 1)
        return std::nullopt;
    return std::string(reinterpret_cast<const char*>(output.data()),
                       static_cast<size_t>(written + final_written));
}

std::optional<std::string> hex_to_bytes(std::string_view hex)
{
    if (hex.empty() || hex.size() % 16 != 0)
        return std::nullopt;
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        int high = hex_digit_value(hex[i]);
        int low = hex_digit_value(hex[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string bytes_to_hex(std::string_view bytes)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (unsigned char byte : bytes) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

bool all_digits(const std::string& text, size_t min_length, size_t max_length)
{
    if (text.size() < min_length || text.size() > max_length)
        return false;
    for (char c : text)
        if (c < '0' || c > '9')
            return false;
    return true;
}

}  // namespace

std::string sha1_hex(std::string_view bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha1(), nullptr);
    return bytes_to_hex(std::string_view(reinterpret_cast<const char*>(digest), length));
}

std::optional<AuthenticatorSource> read_authenticator(std::string_view hex,
                                                      std::string_view key_seed)
{
    std::optional<std::string> cipher = hex_to_bytes(hex);
    if (!cipher)
        return std::nullopt;
    std::optional<std::string> source = run_cipher(*cipher, key_seed, false);
    if (!source)
        return std::nullopt;

    std::vector<std::string> fields(1);
    for (char c : *source) {
        if (c == '$')
            fields.emplace_back();
        else
            fields.back() += c;
    }
    if (fields.size() != 7 || fields[6] != "Korix")
        return std::nullopt;
    AuthenticatorSource parsed{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
    // The terminal writes rand() % 100000000 with "%u" and a %Y%m%d%H%M%S local time.
    if (!all_digits(parsed.random, 1, 8) || !all_digits(parsed.timestamp, 14, 14))
        return std::nullopt;
    return parsed;
}

std::string write_authenticator(std::string_view text, std::string_view key_seed)
{
    std::optional<std::string> cipher = run_cipher(text, key_seed, true);
    return cipher ? bytes_to_hex(*cipher) : std::string();
}

}  // namespace sim
