// The authenticator and the triple-DES string cipher, checked against
// OpenSSL's EVP des-ede3-ecb as an independent path; key splitting, hex
// helpers, the SHA-1 text wrapper and the byte-order helper.
#include <gtest/gtest.h>

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "pavo.h"
#include "security/encrypthelper.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string upper_hex(const Bytes& data)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char b : data) {
        out += digits[b >> 4];
        out += digits[b & 0x0F];
    }
    return out;
}

// The 24 key bytes as the cipher takes them: the first 24 characters, "0"-padded.
std::string key_bytes(std::string keytext)
{
    keytext.resize(24 > keytext.size() ? keytext.size() : 24);
    keytext.append(24 - keytext.size(), '0');
    return keytext;
}

Bytes evp_3des(const std::string& keytext, const Bytes& input, bool encrypt)
{
    std::string key = key_bytes(keytext);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(input.size() + 16);
    int len = 0, tail = 0;
    EXPECT_EQ(EVP_CipherInit_ex(ctx, EVP_des_ede3_ecb(), nullptr,
                                reinterpret_cast<const unsigned char*>(key.data()), nullptr,
                                encrypt ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    EXPECT_EQ(EVP_CipherUpdate(ctx, out.data(), &len, input.data(), static_cast<int>(input.size())), 1);
    EXPECT_EQ(EVP_CipherFinal_ex(ctx, out.data() + len, &tail), 1);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(len + tail));
    return out;
}

Bytes pkcs5(const std::string& text)
{
    Bytes padded(text.begin(), text.end());
    size_t pad = 8 - text.size() % 8;
    padded.insert(padded.end(), pad, static_cast<unsigned char>(pad));
    return padded;
}

std::string reference_cipher(const std::string& keytext, const std::string& text)
{
    return upper_hex(evp_3des(keytext, pkcs5(text), true));
}

// Deciphers an upper-hex cipher text with EVP and strips valid PKCS#5 padding.
std::string reference_plain(const std::string& keytext, const std::string& hex)
{
    Bytes cipher;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        cipher.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    Bytes plain = evp_3des(keytext, cipher, false);
    if (plain.empty())
        return "<empty>";
    unsigned pad = plain.back();
    if (pad < 1 || pad > 8 || pad > plain.size())
        return "<bad padding>";
    for (size_t i = plain.size() - pad; i < plain.size(); ++i)
        if (plain[i] != pad)
            return "<bad padding>";
    return std::string(plain.begin(), plain.end() - pad);
}

std::string encrypt(const std::string& keytext, const std::string& text)
{
    std::vector<char> out(4096, 'Q');
    std::string key = keytext, message = text;
    char mode[] = "2";
    pavo_encrypt(mode, message.data(), static_cast<int>(message.size()), key.data(),
                 static_cast<int>(key.size()), out.data());
    return std::string(out.data());
}

std::string decrypt(const std::string& keytext, const std::string& hex)
{
    std::vector<char> out(4096, 'Q');
    std::string key = keytext, message = hex;
    char mode[] = "2";
    pavo_decrypt(mode, message.data(), 0, key.data(), static_cast<int>(key.size()), out.data());
    return std::string(out.data());
}

std::string sha1_text(const std::string& text)
{
    char out[64];
    std::string copy = text;
    EXPECT_EQ(pavo_sha1(copy.data(), static_cast<int>(copy.size()), out), 0);
    return out;
}

std::string printable_text(size_t n)
{
    std::string text;
    for (size_t i = 0; i < n; ++i)
        text += static_cast<char>('!' + i % 90);
    return text;
}

std::vector<std::string> split_fields(const std::string& text)
{
    std::vector<std::string> fields;
    size_t start = 0, at;
    while ((at = text.find('$', start)) != std::string::npos) {
        fields.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    fields.push_back(text.substr(start));
    return fields;
}

const std::string kDigestKey = "6C2D2B2A3C8B0D7E0E0C4D4BFB8E9B8C4B0F9A11";

}  // namespace

// ---------------------------------------------------------------- cipher

TEST(TripleDes, EncryptMatchesEvpOnPaddedText)
{
    for (const std::string& key : {kDigestKey, sha1_text("u1001"), std::string("short")}) {
        for (size_t n : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 63u, 64u, 255u, 1022u, 1023u}) {
            std::string text = printable_text(n);
            std::string cipher = encrypt(key, text);
            EXPECT_EQ(cipher, reference_cipher(key, text)) << "key " << key << " length " << n;
            EXPECT_EQ(cipher.find_first_not_of("0123456789ABCDEF"), std::string::npos);
        }
    }
}

TEST(TripleDes, BlockCountAddsAWholePaddingBlockOnMultiplesOfEight)
{
    const std::pair<size_t, size_t> counts[] = {{0, 16}, {7, 16}, {8, 32}, {15, 32},
                                                {16, 48}, {1023, 2048}};
    for (const auto& [length, hex] : counts)
        EXPECT_EQ(encrypt(kDigestKey, printable_text(length)).size(), hex) << length;
}

TEST(TripleDes, MessagesBeyondTheBlockBufferAreRefusedEmpty)
{
    EXPECT_EQ(encrypt(kDigestKey, printable_text(1024)), "");
    EXPECT_EQ(encrypt(kDigestKey, printable_text(5000)), "");
    char out[64] = "unchanged";
    char mode[] = "2";
    char text[] = "abc";
    char key[] = "k";
    pavo_encrypt(mode, text, -1, key, 1, out);
    EXPECT_STREQ(out, "");
}

TEST(TripleDes, ShortKeyEqualsKeyPaddedWithZeros)
{
    const std::string text = "authenticator source";
    EXPECT_EQ(encrypt("abc", text), encrypt("abc" + std::string(21, '0'), text));
    EXPECT_EQ(encrypt("", text), encrypt(std::string(24, '0'), text));
    EXPECT_NE(encrypt("abc", text), encrypt("abd", text));
}

TEST(TripleDes, OnlyTheFirst24KeyCharactersMatter)
{
    const std::string text = "same text";
    std::string prefix = kDigestKey.substr(0, 24);
    EXPECT_EQ(encrypt(kDigestKey, text), encrypt(prefix + "ZZZZ", text));
    EXPECT_EQ(encrypt(kDigestKey, text), encrypt(prefix, text));
    EXPECT_EQ(encrypt(kDigestKey, text), encrypt(prefix + std::string(400, 'x'), text));
    std::string other = kDigestKey;
    other[23] = (other[23] == 'A') ? 'B' : 'A';
    EXPECT_NE(encrypt(kDigestKey, text), encrypt(other, text));
}

TEST(TripleDes, GenerateKeysSplitsCharactersWithoutParity)
{
    char password[256] = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
    DES_cblock k1, k2, k3;
    pavo_generatekeys(password, 32, &k1, &k2, &k3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(k1), 8), "01234567");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(k2), 8), "89ABCDEF");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(k3), 8), "GHIJKLMN");

    char short_key[256] = "xyz";
    pavo_generatekeys(short_key, 3, &k1, &k2, &k3);
    EXPECT_STREQ(short_key, "xyz000000000000000000000");
}

TEST(TripleDes, GenerateKeysPadsAfterTheStringsCurrentEnd)
{
    // A NUL inside the given length: the zeros go after "AB", over "CD".
    char password[256] = {'A', 'B', '\0', 'C', 'D'};
    DES_cblock k1, k2, k3;
    pavo_generatekeys(password, 5, &k1, &k2, &k3);
    EXPECT_STREQ(password, "AB0000000000000000000");  // 2 + 19 characters
    EXPECT_EQ(std::string(reinterpret_cast<char*>(k1), 8), "AB000000");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(k3), 8), std::string("00000\0\0\0", 8));
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

TEST(TripleDes, DecryptRoundTripsTextsWithoutLowBytes)
{
    std::string high;
    for (int c = 9; c < 256; ++c)
        high += static_cast<char>(c);  // 9 itself and every byte above survive
    for (const std::string& text : {std::string(), std::string("a"), printable_text(8),
                                    printable_text(37), printable_text(1023), high}) {
        EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, text)), text) << text.size();
    }
}

TEST(TripleDes, DecryptCutsTheTextAtTheFirstByteBelowNine)
{
    EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, "abc\x05" "def")), "abc");
    EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, "a\x08" "b")), "a");
    EXPECT_EQ(decrypt(kDigestKey, encrypt(kDigestKey, "a\x09" "b")), "a\tb");
}

TEST(TripleDes, DecryptAlsoDeciphersTheZeroBlockBehindTheText)
{
    // Eight bytes enciphered without padding: no padding byte ends the text,
    // so the block deciphered from the trailing zeros shows up.
    const std::string text = "ABCDEFGH";
    std::string hex = upper_hex(evp_3des(kDigestKey, Bytes(text.begin(), text.end()), true));
    Bytes extra = evp_3des(kDigestKey, Bytes(8, 0), false);
    std::string expected = text;
    for (unsigned char b : extra) {
        if (b < 9)
            break;
        expected += static_cast<char>(b);
    }
    EXPECT_EQ(decrypt(kDigestKey, hex), expected);
}

TEST(TripleDes, DecryptRefusesCipherTextBeyondTheBlockBuffer)
{
    EXPECT_EQ(decrypt(kDigestKey, std::string(2050, 'A')), "");
    EXPECT_EQ(decrypt(kDigestKey, std::string(5000, 'A')), "");
}

// ---------------------------------------------------------------- hex helpers

TEST(HexHelpers, StringToHexIsUpperCaseHighNibbleFirst)
{
    char out[2048];
    char in[] = "AB\x01\xff";
    pavo_stringToHex(in, 4, out);
    EXPECT_STREQ(out, "414201FF");
    pavo_stringToHex(in, 0, out);
    EXPECT_STREQ(out, "");
    pavo_stringToHex(in, -3, out);
    EXPECT_STREQ(out, "");
}

TEST(HexHelpers, StringToHexTakesAtMost511Bytes)
{
    std::string in(512, 'z');
    char out[2048];
    pavo_stringToHex(in.data(), 511, out);
    EXPECT_EQ(std::strlen(out), 1022u);
    pavo_stringToHex(in.data(), 512, out);
    EXPECT_STREQ(out, "");
}

TEST(HexHelpers, HexToStringCountsPairsAndWritesNoTerminator)
{
    char out[16];
    std::memset(out, 'Q', sizeof out);
    int length = -1;
    char hex[] = "4142f";
    pavo_hexTostring(hex, out, &length);
    EXPECT_EQ(length, 2);  // the trailing single character is not counted
    EXPECT_EQ(std::string(out, 3), "ABQ");
}

TEST(HexHelpers, HexToStringKeepsWhatStrtolReads)
{
    const std::pair<const char*, unsigned char> pairs[] = {
        {"1G", 0x01}, {"zz", 0x00}, {"-1", 0xFF}, {" F", 0x0F}, {"ff", 0xFF}};
    for (const auto& [pair, value] : pairs) {
        char in[3] = {pair[0], pair[1], '\0'};
        char out[4] = {0};
        int length = 0;
        pavo_hexTostring(in, out, &length);
        EXPECT_EQ(length, 1);
        EXPECT_EQ(static_cast<unsigned char>(out[0]), value) << pair;
    }
}

// ---------------------------------------------------------------- SHA-1 text

TEST(Sha1Text, FortyUpperCaseHexCharactersAndTerminator)
{
    EXPECT_EQ(sha1_text(""), "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(reinterpret_cast<const unsigned char*>("482613"), 6, digest);
    EXPECT_EQ(sha1_text("482613"), upper_hex(Bytes(digest, digest + 20)));
    char out[48];
    std::memset(out, 'Q', sizeof out);
    char message[] = "abc";
    pavo_sha1(message, 3, out);
    EXPECT_EQ(out[40], '\0');
    EXPECT_EQ(out[41], 'Q');
}

// ---------------------------------------------------------------- authenticator

class Authenticator : public ::testing::Test {
protected:
    void SetUp() override { pavo_setlogmode(1); }

    // Builds an authenticator, capturing the console log, and deciphers it.
    std::string build(const char* key, const char* userid, const char* ip, const char* tvid,
                      const char* bizfield)
    {
        std::vector<char> out(8192, 'Q');
        ::testing::internal::CaptureStdout();
        pavo_createauthenticator(out.data(), CRYPTMODE_PLAIN, key, userid, ip, tvid, bizfield);
        log_ = ::testing::internal::GetCapturedStdout();
        cipher_ = out.data();
        return reference_plain(key != nullptr ? key : "", cipher_);
    }

    std::string log_;
    std::string cipher_;
};

TEST_F(Authenticator, SixFieldsInOrderThenKorix)
{
    std::string key = sha1_text("u1001");
    std::time_t before = std::time(nullptr);
    std::string source = build(key.c_str(), "u1001", "10.0.0.5", "TV0001", "biz");
    std::time_t after = std::time(nullptr);

    std::vector<std::string> fields = split_fields(source);
    ASSERT_EQ(fields.size(), 7u) << source;
    EXPECT_EQ(fields[1], "u1001");
    EXPECT_EQ(fields[2], "TV0001");  // terminal id before the IP address
    EXPECT_EQ(fields[3], "10.0.0.5");
    EXPECT_EQ(fields[4], "biz");
    EXPECT_EQ(fields[6], "Korix");

    const std::string& random = fields[0];
    ASSERT_FALSE(random.empty());
    ASSERT_LE(random.size(), 8u);
    EXPECT_EQ(random.find_first_not_of("0123456789"), std::string::npos);
    EXPECT_TRUE(random == "0" || random[0] != '0');

    char first[32], last[32];
    struct tm local;
    std::strftime(first, sizeof first, "%Y%m%d%H%M%S", localtime_r(&before, &local));
    std::strftime(last, sizeof last, "%Y%m%d%H%M%S", localtime_r(&after, &local));
    EXPECT_EQ(fields[5].size(), 14u);
    EXPECT_GE(fields[5], std::string(first));
    EXPECT_LE(fields[5], std::string(last));
}

TEST_F(Authenticator, MissingFieldsAreEmptyBetweenSeparators)
{
    std::string source = build("key", "u1", "10.0.0.5", "TV", "");
    EXPECT_NE(source.find("$10.0.0.5$$"), std::string::npos) << source;

    source = build("key", nullptr, nullptr, nullptr, nullptr);
    std::vector<std::string> fields = split_fields(source);
    ASSERT_EQ(fields.size(), 7u) << source;
    for (int i = 1; i <= 4; ++i)
        EXPECT_EQ(fields[i], "") << i;
    EXPECT_NE(source.find("$$$$$"), std::string::npos);
    EXPECT_EQ(fields[6], "Korix");
}

TEST_F(Authenticator, NullKeyIsTheEmptyKeyText)
{
    std::string source = build(nullptr, "u1", "ip", "tv", "b");
    EXPECT_EQ(reference_plain(std::string(24, '0'), cipher_), source);
    EXPECT_EQ(split_fields(source).size(), 7u);
}

TEST_F(Authenticator, LogsSourceThenCipherText)
{
    std::string source = build("key", "u1", "ip", "tv", "b");
    size_t at_source = log_.find("authenticator source:" + source + "\r\n");
    size_t at_cipher = log_.find("\r\n" + cipher_ + "\r\n");
    EXPECT_NE(at_source, std::string::npos) << log_;
    EXPECT_NE(at_cipher, std::string::npos) << log_;
    EXPECT_LT(at_source, at_cipher);
}

TEST_F(Authenticator, NullBufferIsLoggedAndNothingElse)
{
    ::testing::internal::CaptureStdout();
    pavo_createauthenticator(nullptr, CRYPTMODE_3DES, "key", "u1", "ip", "tv", "b");
    std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("NULL authenticator Buffer\r\n"), std::string::npos);
    EXPECT_EQ(log.find("authenticator source:"), std::string::npos);
}

TEST_F(Authenticator, SourceBeyondTheCipherBoundGivesEmptyAuthenticator)
{
    std::string long_id(1500, 'u');
    build("key", long_id.c_str(), "ip", "tv", "b");
    EXPECT_EQ(cipher_, "");
}

TEST(RandomAndTimestamp, RandomIsReseededBySecond)
{
    char a[32], b[32];
    std::time_t before = std::time(nullptr);
    pavo_getrandom(a);
    pavo_getrandom(b);
    std::time_t after = std::time(nullptr);
    if (before == after) {
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
