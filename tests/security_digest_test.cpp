// SHA-1, HMAC-SHA1, the two Base64 codecs and CRC-32: against OpenSSL over
// the padding and chunk boundaries, published check values, and each
// deliberate tolerance.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "pavo.h"
#include "security/Base64.h"
#include "support/openssl_reference.h"
#include "support/temp_dir.h"

namespace {

using pavo_test::Bytes;
using pavo_test::hex_text;

Bytes pattern(size_t n)
{
    Bytes data(n);
    for (size_t i = 0; i < n; ++i)
        data[i] = static_cast<unsigned char>(i * 31 + 7);
    return data;
}

// OpenSSL's SHA-1 (no key) or HMAC-SHA1.
std::string openssl_mac(const Bytes* key, const Bytes& data)
{
    return pavo_test::sha1_reference(data.data(), data.size(), key);
}

}  // namespace

// Every length up to three blocks, split in two at every point around the
// padding boundaries, whole and streamed; HMAC across key lengths around 64.
TEST(Digest, Sha1AndHmacMatchOpenSsl)
{
    unsigned char out[20];
    for (size_t n = 0; n <= 200; ++n) {
        Bytes data = pattern(n);
        sha1(data.data(), static_cast<int>(n), out);
        EXPECT_EQ(hex_text(out, 20), openssl_mac(nullptr, data)) << n;
        for (size_t split = n >= 54 && n <= 130 ? 0 : n; split <= n; ++split) {
            pavo_sha1context ctx;
            pavo_sha1starts(&ctx);
            pavo_sha1update(&ctx, data.data(), static_cast<int>(split));
            pavo_sha1update(&ctx, data.data() + split, static_cast<int>(n - split));
            pavo_sha1update(&ctx, data.data(), -5);  // ignored
            pavo_sha1finish(&ctx, out);
            EXPECT_EQ(hex_text(out, 20), openssl_mac(nullptr, data)) << n << " split " << split;
        }
    }
    Bytes data = pattern(150);
    for (size_t keylen : {0u, 20u, 64u, 65u, 200u}) {
        Bytes key = pattern(keylen);
        pavo_sha1context ctx;
        pavo_sha1hmac_starts(&ctx, key.data(), static_cast<int>(keylen));
        pavo_sha1hmac_update(&ctx, data.data(), 70);
        pavo_sha1hmac_update(&ctx, data.data() + 70, 80);
        pavo_sha1hmac_finish(&ctx, out);
        EXPECT_EQ(hex_text(out, 20), openssl_mac(&key, data)) << keylen;
        pavo_sha1hmac(key.data(), static_cast<int>(keylen), data.data(), 150, out);
        EXPECT_EQ(hex_text(out, 20), openssl_mac(&key, data)) << keylen;
    }
}

TEST(Digest, FilesDigestInChunksAndReportFailures)
{
    TempDir dir;
    Bytes content = pattern(20000);  // several reads of either size and a partial one
    write_file(dir.file("data"), std::string(content.begin(), content.end()));
    unsigned char out[20];
    EXPECT_EQ(pavo_sha1file(dir.file("data").c_str(), out), 0);
    EXPECT_EQ(hex_text(out, 20), openssl_mac(nullptr, content));
    EXPECT_EQ(pavo_sha1file(dir.path().c_str(), out), 2);  // opens, every read fails
    EXPECT_EQ(pavo_sha1file(dir.file("absent").c_str(), out), 1);

    FILE* f = std::fopen(dir.file("data").c_str(), "rb");
    ASSERT_NE(f, nullptr);
    unsigned long crc = 1;
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), 0);
    EXPECT_EQ(crc, Crc32_ComputeBuf(0, content.data(), content.size()));
    std::rewind(f);
    unsigned char rc[4];
    char most_significant_first[9];
    std::snprintf(most_significant_first, sizeof most_significant_first, "%08lX", crc);
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), 4);
    EXPECT_EQ(hex_text(rc, 4), most_significant_first);
    std::fclose(f);
}

// The IEEE check value, chained over every split.
TEST(Digest, Crc32CheckValue)
{
    const char check[] = "123456789";
    for (size_t split = 0; split <= 9; ++split) {
        unsigned long crc = Crc32_ComputeBuf(0, check, split);
        EXPECT_EQ(Crc32_ComputeBuf(crc, check + split, 9 - split), 0xCBF43926ul) << split;
    }
}

TEST(Base64Codecs, Rfc4648VectorsAndEveryByteValueThroughBoth)
{
    const std::pair<std::string, std::string> vectors[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="},
    };
    const Base64 second;
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(CConvert::enBase64(plain.data(), plain.size()), encoded);
        EXPECT_EQ(CConvert::deBase64(encoded), plain);
        EXPECT_EQ(second.base64_encode(plain), encoded);
        EXPECT_EQ(second.base64_decode(encoded), plain);
    }
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    for (size_t cut : {256u, 255u, 254u}) {
        std::string input = all.substr(0, cut);
        std::string encoded = CConvert::enBase64(input);
        EXPECT_EQ(encoded, second.base64_encode(input));
        EXPECT_EQ(CConvert::deBase64(encoded), input);
        EXPECT_EQ(second.base64_decode(encoded), input);
    }
    EXPECT_EQ(CConvert::enBase64(std::string(300, 'y')).find('\n'), std::string::npos);
}

// The first codec refuses lengths that are not whole groups and decodes
// foreign bytes by their own value; the second stops at the first "=" or
// foreign character.
TEST(Base64Codecs, EachCodecsOwnTolerance)
{
    char buf[8] = "ZZZZZZZ";
    EXPECT_EQ(CConvert::deBase64(std::string("QQ="), buf), 0);
    EXPECT_EQ(buf[0], 'Z');
    EXPECT_EQ(CConvert::deBase64(std::string("Q!=="), buf), 1);  // (16 << 2) | (0x21 >> 4)
    EXPECT_EQ(buf[0], 'B');
    EXPECT_EQ(CConvert::deBase64(std::string("QQ==QUJD")), std::string("A\0\0ABC", 6));
    const std::pair<const char*, const char*> cases[] = {
        {"QUJD*REVG", "ABC"}, {"Zm9v=Zm9v", "foo"}, {"QUI", "AB"}, {"Q", ""}, {"QUJDR", "ABC"},
    };
    for (const auto& [encoded, plain] : cases)
        EXPECT_EQ(Base64().base64_decode(std::string(encoded)), plain) << encoded;
}

// A null context or output is ignored: the call returns instead of writing through it.
TEST(Sha1, NullContextOrOutputIsIgnored)
{
    unsigned char digest[20] = {0};
    pavo_sha1starts(nullptr);
    pavo_sha1update(nullptr, digest, 1);
    pavo_sha1finish(nullptr, digest);
    sha1(digest, 1, nullptr);
    pavo_sha1hmac_starts(nullptr, digest, 1);
    pavo_sha1hmac_finish(nullptr, nullptr);
    EXPECT_EQ(digest[0], 0);
}
