// The authenticator and the triple-DES string cipher, checked against
// OpenSSL's EVP des-ede3-ecb as an independent path; key splitting, hex
// helpers, the SHA-1 text wrapper and the byte-order helper.
#include <gtest/gtest.h>

#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "pavo.h"
#include "security/encrypthelper.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string upper_hex(const Bytes& data)
{
    std::string out;
    for (unsigned char b : data) {
        out += "0123456789ABCDEF"[b >> 4];
        out += "0123456789ABCDEF"[b & 0x0F];
    }
    return out;
}

// The reference: EVP des-ede3-ecb without padding, keyed with the first 24
// key characters, "0"-padded.
Bytes evp_3des(const std::string& keytext, const Bytes& input, bool encrypt)
{
    std::string key = keytext.substr(0, 24);
    key.resize(24, '0');
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(input.size() + 16);
    int len = 0, tail = 0;
    EXPECT_EQ(EVP_CipherInit_ex(ctx, EVP_des_ede3_ecb(), nullptr,
                                reinterpret_cast<const unsigned char*>(key.data()), nullptr,
                                encrypt ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    EXPECT_EQ(EVP_CipherUpdate(ctx, out.data(), &len, input.data(), static_cast<int>(input.size())),
              1);
    EXPECT_EQ(EVP_CipherFinal_ex(ctx, out.data() + len, &tail), 1);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(len + tail));
    return out;
}

std::string reference_cipher(const std::string& keytext, const std::string& text)
{
    Bytes padded(text.begin(), text.end());
    size_t pad = 8 - text.size() % 8;  // PKCS#5: a whole block on multiples of 8
    padded.insert(padded.end(), pad, static_cast<unsigned char>(pad));
    return upper_hex(evp_3des(keytext, padded, true));
}

// Deciphers an upper-hex cipher text with EVP and strips the PKCS#5 padding.
std::string reference_plain(const std::string& keytext, const std::string& hex)
{
    Bytes cipher;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        cipher.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    Bytes plain = evp_3des(keytext, cipher, false);
    size_t pad = plain.empty() || plain.back() > 8 ? 0 : plain.back();
    return std::string(plain.begin(), plain.end() - static_cast<long>(pad));
}

// Runs pavo_encrypt or pavo_decrypt; the mode text is ignored by both.
template <void (*Call)(char*, char*, int, char*, int, char*)>
std::string run_cipher(std::string key, std::string text)
{
    std::vector<char> out(4096, 'Q');
    char mode[] = "2";
    Call(mode, text.data(), static_cast<int>(text.size()), key.data(), static_cast<int>(key.size()),
         out.data());
    return out.data();
}
constexpr auto encrypt = run_cipher<pavo_encrypt>;
constexpr auto decrypt = run_cipher<pavo_decrypt>;

std::string sha1_text(std::string text)
{
    char out[64];
    EXPECT_EQ(pavo_sha1(text.data(), static_cast<int>(text.size()), out), 0);
    return out;
}

std::string printable_text(size_t n)
{
    std::string text;
    for (size_t i = 0; i < n; ++i)
        text += static_cast<char>('!' + i % 90);
    return text;
}

std::string key_text(const DES_cblock& key)
{
    return std::string(reinterpret_cast<const char*>(key), 8);
}

const std::string kDigestKey = "6C2D2B2A3C8B0D7E0E0C4D4BFB8E9B8C4B0F9A11";

}  // namespace

// A whole padding block is added when the length is a multiple of 8.
TEST(TripleDes, EncryptMatchesEvpOnPaddedTextBlockForBlock)
{
    for (const std::string& key : {kDigestKey, sha1_text("u1001"), std::string("short")}) {
        for (size_t n : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 63u, 64u, 255u, 1022u, 1023u}) {
            std::string cipher = encrypt(key, printable_text(n));
            EXPECT_EQ(cipher, reference_cipher(key, printable_text(n))) << key << " length " << n;
            EXPECT_EQ(cipher.size(), 16 * (n / 8 + 1)) << n;
            EXPECT_EQ(cipher.find_first_not_of("0123456789ABCDEF"), std::string::npos);
        }
    }
}

TEST(TripleDes, TextsBeyondTheBlockBufferAreRefusedEmpty)
{
    EXPECT_EQ(encrypt(kDigestKey, printable_text(1024)), "");
    EXPECT_EQ(encrypt(kDigestKey, printable_text(5000)), "");
    EXPECT_EQ(decrypt(kDigestKey, std::string(2050, 'A')), "");
    EXPECT_EQ(decrypt(kDigestKey, std::string(5000, 'A')), "");
    char out[64] = "unchanged", mode[] = "2", text[] = "abc", key[] = "k";
    pavo_encrypt(mode, text, -1, key, 1, out);
    EXPECT_STREQ(out, "");
}

TEST(TripleDes, KeyIsItsFirst24CharactersPaddedWithZeros)
{
    const std::string text = "authenticator source";
    EXPECT_EQ(encrypt("abc", text), encrypt("abc" + std::string(21, '0'), text));
    EXPECT_EQ(encrypt("", text), encrypt(std::string(24, '0'), text));
    std::vector<char> out(64);
    char mode[] = "2", plain[] = "authenticator source";
    pavo_encrypt(mode, plain, static_cast<int>(text.size()), nullptr, 5, out.data());
    EXPECT_EQ(out.data(), encrypt("", text));   // a null key is the empty text
    EXPECT_NE(encrypt("abc", text), encrypt("abd", text));
    std::string prefix = kDigestKey.substr(0, 24);
    EXPECT_EQ(encrypt(kDigestKey, text), encrypt(prefix + "ZZZZ", text));
    EXPECT_EQ(encrypt(kDigestKey, text), encrypt(prefix + std::string(400, 'x'), text));
    prefix[23] = prefix[23] == 'A' ? 'B' : 'A';
    EXPECT_NE(encrypt(kDigestKey, text), encrypt(prefix, text));
}

TEST(TripleDes, GenerateKeysSplitsWithoutParityAndPadsAfterTheStringsEnd)
{
    DES_cblock k1, k2, k3;
    char password[256] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
    pavo_generatekeys(password, 32, &k1, &k2, &k3);
    EXPECT_EQ(key_text(k1) + key_text(k2) + key_text(k3), "0123456789ABCDEFGHIJKLMN");

    char short_key[256] = "xyz";
    pavo_generatekeys(short_key, 3, &k1, &k2, &k3);
    EXPECT_STREQ(short_key, "xyz000000000000000000000");

    // A NUL inside the given length: the zeros go after "AB", over "CD".
    char inner_nul[256] = {'A', 'B', '\0', 'C', 'D'};
    pavo_generatekeys(inner_nul, 5, &k1, &k2, &k3);
    EXPECT_STREQ(inner_nul, "AB0000000000000000000");  // 2 + 19 characters
    EXPECT_EQ(key_text(k1), "AB000000");
    EXPECT_EQ(key_text(k3), std::string("00000\0\0\0", 8));
}

TEST(TripleDes, WrapperBehavesAsLibcryptoBlockOperation)
{
    char keytext[256] = "0123456789ABCDEFGHIJKLMN";
    DES_cblock k[3];
    pavo_generatekeys(keytext, 24, &k[0], &k[1], &k[2]);
    DES_key_schedule ks[3];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    for (int i = 0; i < 3; ++i)
        DES_set_key_unchecked(&k[i], &ks[i]);
#pragma GCC diagnostic pop
    DES_cblock in = {'b', 'l', 'o', 'c', 'k', '-', '0', '1'};
    DES_cblock cipher, back;
    pavo_DES_ecb3_encrypt(&in, &cipher, &ks[0], &ks[1], &ks[2], DES_ENCRYPT);
    EXPECT_EQ(Bytes(cipher, cipher + 8), evp_3des(keytext, Bytes(in, in + 8), true));
    pavo_DES_ecb3_encrypt(&cipher, &back, &ks[0], &ks[1], &ks[2], DES_DECRYPT);
    EXPECT_EQ(Bytes(back, back + 8), Bytes(in, in + 8));
}

TEST(TripleDes, DecryptRoundTripsButCutsAtTheFirstByteBelowNine)
{
    std::string high;
    for (int c = 9; c < 256; ++c)
        high += static_cast<char>(c);  // 9 itself and every byte above survive
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {"a", "a"}, {printable_text(8), printable_text(8)},
        {printable_text(37), printable_text(37)}, {printable_text(1023), printable_text(1023)},
        {high, high}, {"abc\x05" "def", "abc"}, {"a\x08" "b", "a"}, {"a\x09" "b", "a\tb"},
    };
    for (const auto& [text, back] : cases)
        EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, text)), back) << text.size();
}

TEST(TripleDes, DecryptAlsoDeciphersTheZeroBlockBehindTheText)
{
    // Eight bytes enciphered without padding: no padding byte ends the text,
    // so the block deciphered from the trailing zeros shows up.
    const std::string text = "ABCDEFGH";
    std::string hex = upper_hex(evp_3des(kDigestKey, Bytes(text.begin(), text.end()), true));
    std::string expected = text;
    for (unsigned char b : evp_3des(kDigestKey, Bytes(8, 0), false)) {
        if (b < 9)
            break;
        expected += static_cast<char>(b);
    }
    EXPECT_EQ(decrypt(kDigestKey, hex), expected);
}

TEST(HexHelpers, StringToHexIsUpperCaseAndTakesAtMost511Bytes)
{
    char out[2048];
    std::string in = "AB\x01\xff" + std::string(508, 'w');
    const std::pair<int, std::string> cases[] = {
        {4, "414201FF"}, {0, ""}, {-3, ""}, {511, "414201FF" + std::string(1014, '7')}, {512, ""}};
    for (const auto& [length, hex] : cases) {
        std::strcpy(out, "old");
        pavo_stringToHex(in.data(), length, out);
        EXPECT_EQ(out, hex) << length;
    }
}

TEST(HexHelpers, HexToStringCountsPairsKeepsWhatStrtolReadsAndWritesNoTerminator)
{
    char out[16];
    std::memset(out, 'Q', sizeof out);
    int length = -1;
    char hex[] = "4142f";
    pavo_hexTostring(hex, out, &length);
    EXPECT_EQ(length, 2);  // the trailing single character is not counted
    EXPECT_EQ(std::string(out, 3), "ABQ");

    const std::pair<const char*, unsigned char> pairs[] = {
        {"1G", 0x01}, {"zz", 0x00}, {"-1", 0xFF}, {" F", 0x0F}, {"ff", 0xFF}};
    for (const auto& [pair, value] : pairs) {
        char in[3] = {pair[0], pair[1], '\0'};
        pavo_hexTostring(in, out, &length);
        EXPECT_EQ(length, 1);
        EXPECT_EQ(static_cast<unsigned char>(out[0]), value) << pair;
    }
}

TEST(Sha1Text, FortyUpperCaseHexCharactersAndTerminator)
{
    EXPECT_EQ(sha1_text(""), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
    char out[48], message[] = "abc";
    std::memset(out, 'Q', sizeof out);
    pavo_sha1(message, 3, out);
    EXPECT_EQ(std::string(out + 40, 2), std::string("\0Q", 2));
}

class Authenticator : public ::testing::Test {
protected:
    void SetUp() override { pavo_setlogmode(1); }

    // Builds an authenticator, capturing the console log, and returns the
    // fields of the source deciphered by the reference.
    std::vector<std::string> build(const char* key, const char* userid, const char* ip,
                                   const char* tvid, const char* bizfield)
    {
        std::vector<char> out(8192, 'Q');
        ::testing::internal::CaptureStdout();
        pavo_createauthenticator(out.data(), CRYPTMODE_PLAIN, key, userid, ip, tvid, bizfield);
        log_ = ::testing::internal::GetCapturedStdout();
        cipher_ = out.data();
        source_ = reference_plain(key != nullptr ? key : "", cipher_);
        std::vector<std::string> fields(1);
        for (char c : source_) {
            if (c == '$')
                fields.emplace_back();
            else
                fields.back() += c;
        }
        return fields;
    }

    std::string log_, cipher_, source_;
};

TEST_F(Authenticator, SixFieldsInOrderThenKorixLoggedBeforeTheCipher)
{
    auto stamp = [](std::time_t at) {
        char text[32];
        struct tm local;
        std::strftime(text, sizeof text, "%Y%m%d%H%M%S", localtime_r(&at, &local));
        return std::string(text);
    };
    std::string key = sha1_text("u1001");
    std::string before = stamp(std::time(nullptr));
    std::vector<std::string> fields = build(key.c_str(), "u1001", "10.0.0.5", "TV0001", "biz");
    std::string after = stamp(std::time(nullptr));

    // The terminal id comes before the IP address, unlike the arguments.
    ASSERT_EQ(fields.size(), 7u) << source_;
    EXPECT_EQ(std::vector<std::string>(fields.begin() + 1, fields.begin() + 5),
              (std::vector<std::string>{"u1001", "TV0001", "10.0.0.5", "biz"}));
    EXPECT_EQ(fields[6], "Korix");
    EXPECT_TRUE(std::regex_match(fields[0], std::regex("0|[1-9][0-9]{0,7}"))) << fields[0];
    EXPECT_TRUE(std::regex_match(fields[5], std::regex("[0-9]{14}"))) << fields[5];
    EXPECT_GE(fields[5], before);
    EXPECT_LE(fields[5], after);

    size_t at_source = log_.find("authenticator source:" + source_ + "\r\n");
    size_t at_cipher = log_.find("\r\n" + cipher_ + "\r\n");
    EXPECT_NE(at_source, std::string::npos) << log_;
    EXPECT_NE(at_cipher, std::string::npos) << log_;
    EXPECT_LT(at_source, at_cipher);
}

TEST_F(Authenticator, NullFieldsAndKeyAreEmptyTexts)
{
    build("key", "u1", "10.0.0.5", "TV", "");
    EXPECT_NE(source_.find("$10.0.0.5$$"), std::string::npos) << source_;

    // Deciphered with the empty key text.
    std::vector<std::string> fields = build(nullptr, nullptr, nullptr, nullptr, nullptr);
    ASSERT_EQ(fields.size(), 7u) << source_;
    EXPECT_NE(source_.find("$$$$$"), std::string::npos);
    EXPECT_EQ(fields[6], "Korix");
}

TEST_F(Authenticator, NullBufferIsLoggedAndOverlongSourceGivesEmptyText)
{
    ::testing::internal::CaptureStdout();
    pavo_createauthenticator(nullptr, CRYPTMODE_3DES, "key", "u1", "ip", "tv", "b");
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("NULL authenticator Buffer\r\n"), std::string::npos);
    EXPECT_EQ(log.find("authenticator source:"), std::string::npos);

    build("key", std::string(1500, 'u').c_str(), "ip", "tv", "b");  // beyond the cipher's bound
    EXPECT_EQ(cipher_, "");
}

TEST(RandomAndTimestamp, RandomIsReseededBySecondAndNullIsIgnored)
{
    char a[32], b[32];
    std::time_t before = std::time(nullptr);
    pavo_getrandom(a);
    pavo_getrandom(b);
    if (before == std::time(nullptr)) {
        EXPECT_STREQ(a, b);
    }
    EXPECT_LT(std::strtoul(a, nullptr, 10), 100000000ul);
    pavo_getrandom(nullptr);
    pavo_gettimestamp(nullptr);
}

TEST(ByteOrder, ConvertReversesTheEightBytesAndSaysSo)
{
    EXPECT_EQ(pavo_is_little_endian(), 1);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(pavo_convert_to_bigendian(0x0102030405060708ull), 0x0807060504030201ull);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "is little endian, convert to big endian");
}
