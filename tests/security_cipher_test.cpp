// The triple-DES string cipher against OpenSSL's EVP des-ede3-ecb as an
// independent path, and the hex helpers. The authenticator built on it is
// deciphered the same way in service_requests_test.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "pavo.h"
#include "security/encrypthelper.h"
#include "support/openssl_reference.h"

namespace {

using pavo_test::Bytes;

std::string reference_cipher(const std::string& keytext, const std::string& text)
{
    Bytes out = pavo_test::des3_reference(keytext, Bytes(text.begin(), text.end()), true);
    return pavo_test::hex_text(out.data(), out.size());
}

template <void (*Call)(char*, char*, int, char*, int, char*)>
std::string run_cipher(std::string key, std::string text)
{
    std::vector<char> out(4096, 'Q');
    char mode[] = "2";  // ignored
    Call(mode, text.data(), static_cast<int>(text.size()), key.data(),
         static_cast<int>(key.size()), out.data());
    return out.data();
}
constexpr auto encrypt = run_cipher<pavo_encrypt>;
constexpr auto decrypt = run_cipher<pavo_decrypt>;

std::string printable_text(size_t n)
{
    std::string text;
    for (size_t i = 0; i < n; ++i)
        text += static_cast<char>('!' + i % 90);
    return text;
}

const std::string kDigestKey = "6C2D2B2A3C8B0D7E0E0C4D4BFB8E9B8C4B0F9A11";

}  // namespace

// The key is its first 24 characters padded with "0"; texts beyond the
// block buffer are refused with an empty text.
TEST(TripleDes, EncryptMatchesEvpAndRefusesOverlongTexts)
{
    for (const std::string& key : {kDigestKey, std::string("short"), std::string()}) {
        for (size_t n : {0u, 1u, 7u, 8u, 9u, 16u, 63u, 1023u})
            EXPECT_EQ(encrypt(key, printable_text(n)), reference_cipher(key, printable_text(n)))
                << key << " length " << n;
    }
    EXPECT_EQ(encrypt(kDigestKey + "ZZZ", "x"), encrypt(kDigestKey, "x"));
    EXPECT_EQ(encrypt(kDigestKey, printable_text(1024)), "");
    EXPECT_EQ(decrypt(kDigestKey, std::string(2050, 'A')), "");
}

TEST(TripleDes, DecryptRoundTripsButCutsAtTheFirstByteBelowNine)
{
    std::string high;
    for (int c = 9; c < 256; ++c)
        high += static_cast<char>(c);
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {printable_text(8), printable_text(8)},
        {printable_text(1023), printable_text(1023)},
        {high, high},
        {"abc\x05"
         "def",
         "abc"},
        {"a\x08"
         "b",
         "a"},
    };
    for (const auto& [text, back] : cases)
        EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, text)), back) << text.size();
}

TEST(HexHelpers, UpperCaseAtMost511BytesAndStrtolsOwnReading)
{
    char out[2048];
    std::string in = "AB\x01\xff" + std::string(508, 'w');
    const std::pair<int, std::string> cases[] = {
        {4, "414201FF"}, {-3, ""}, {511, "414201FF" + std::string(1014, '7')}, {512, ""}};
    for (const auto& [length, hex] : cases) {
        pavo_stringToHex(in.data(), length, out);
        EXPECT_EQ(out, hex) << length;
    }
    const std::pair<const char*, const char*> pairs[] = {
        {"4142f", "AB"}, {"1G", "\x01"}, {"-1", "\xFF"}, {"ff", "\xFF"}};
    for (const auto& [hex, bytes] : pairs) {
        int length = -1;
        std::string text = hex;
        pavo_hexTostring(text.data(), out, &length);
        EXPECT_EQ(std::string(out, static_cast<size_t>(length)), bytes) << hex;
    }
}
