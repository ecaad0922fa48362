// SHA-1, HMAC-SHA1, the two Base64 codecs and CRC-32: published vectors,
// padding and chunk boundaries against OpenSSL, and each deliberate tolerance.
#include <gtest/gtest.h>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "pavo.h"
#include "security/Base64.h"
#include "support/temp_dir.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

std::string hex_of(const unsigned char* data, size_t n)
{
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        out += "0123456789abcdef"[data[i] >> 4];
        out += "0123456789abcdef"[data[i] & 0x0F];
    }
    return out;
}

// The digest of the pieces fed one after the other through one context.
std::string streamed_digest(const std::vector<Bytes>& pieces)
{
    pavo_sha1context ctx;
    unsigned char out[20];
    pavo_sha1starts(&ctx);
    for (const Bytes& piece : pieces)
        pavo_sha1update(&ctx, piece.data(), static_cast<int>(piece.size()));
    pavo_sha1finish(&ctx, out);
    return hex_of(out, 20);
}

std::string pavo_digest(const Bytes& data)
{
    unsigned char out[20];
    sha1(data.data(), static_cast<int>(data.size()), out);
    return hex_of(out, 20);
}

std::string openssl_digest(const Bytes& data)
{
    unsigned char out[SHA_DIGEST_LENGTH];
    SHA1(data.data(), data.size(), out);
    return hex_of(out, sizeof out);
}

std::string openssl_hmac(const Bytes& key, const Bytes& data)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), data.data(), data.size(), out,
         &len);
    return hex_of(out, len);
}

std::string pavo_hmac(const Bytes& key, const Bytes& data)
{
    unsigned char out[20];
    pavo_sha1hmac(key.data(), static_cast<int>(key.size()), data.data(),
                  static_cast<int>(data.size()), out);
    return hex_of(out, 20);
}

Bytes unhex(const std::string& hex)
{
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

Bytes pattern(size_t n)
{
    Bytes data(n);
    for (size_t i = 0; i < n; ++i)
        data[i] = static_cast<unsigned char>(i * 31 + 7);
    return data;
}

const char kEmptyDigest[] = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
const char kCheck[] = "123456789";

// Files of the test's own temporary directory.
class DigestFiles : public ::testing::Test {
protected:
    std::string put(const std::string& name, const Bytes& content)
    {
        write_file(dir_.file(name), std::string(content.begin(), content.end()));
        return dir_.file(name);
    }
    TempDir dir_;
};

// A stream that yields `data` once and then fails: a read error after a
// partial read.
ssize_t read_once_then_fail(void* cookie, char* buf, size_t size)
{
    std::string* data = static_cast<std::string*>(cookie);
    if (data->empty() || size < data->size())
        return -1;
    std::memcpy(buf, data->data(), data->size());
    ssize_t delivered = static_cast<ssize_t>(data->size());
    data->clear();
    return delivered;
}

}  // namespace

TEST(Sha1, PublishedVectorsWholeAndInPieces)
{
    const struct { std::string input; int repeat; const char* digest; } vectors[] = {
        {"", 1, kEmptyDigest},
        {"abc", 1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 1,
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {"a", 1000000, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"0123456701234567012345670123456701234567012345670123456701234567", 10,
         "dea356a2cddd90c7a7ecedc5ebb563934f460452"},
    };
    for (const auto& v : vectors) {
        SCOPED_TRACE(v.input + " x" + std::to_string(v.repeat));
        std::vector<Bytes> pieces(v.repeat, bytes_of(v.input));
        std::string whole;
        for (int i = 0; i < v.repeat; ++i)
            whole += v.input;
        EXPECT_EQ(pavo_digest(bytes_of(whole)), v.digest);
        EXPECT_EQ(streamed_digest(pieces), v.digest);
    }
}

TEST(Sha1, EveryLengthAndSplitAroundThePaddingBoundariesMatchesOpenSsl)
{
    for (size_t n = 0; n <= 200; ++n)
        EXPECT_EQ(pavo_digest(pattern(n)), openssl_digest(pattern(n))) << "length " << n;
    for (size_t n : {55u, 56u, 63u, 64u, 65u, 119u, 120u, 128u}) {
        Bytes data = pattern(n);
        for (size_t split = 0; split <= n; ++split)
            EXPECT_EQ(streamed_digest({Bytes(data.begin(), data.begin() + split),
                                       Bytes(data.begin() + split, data.end())}),
                      openssl_digest(data))
                << "length " << n << " split " << split;
    }
}

TEST(Sha1, CountIgnoresNonPositiveLengthsAndCarriesIntoTheHighWord)
{
    pavo_sha1context ctx;
    unsigned char out[20];
    const unsigned char byte = 'x';
    pavo_sha1starts(&ctx);
    pavo_sha1update(&ctx, &byte, 0);
    pavo_sha1update(&ctx, &byte, -5);
    EXPECT_EQ(ctx.total[0], 0u);
    pavo_sha1finish(&ctx, out);
    EXPECT_EQ(hex_of(out, 20), kEmptyDigest);

    pavo_sha1starts(&ctx);
    ctx.total[0] = 0xFFFFFFC0u;  // block-aligned, so no partial block is pending
    pavo_sha1update(&ctx, pattern(100).data(), 100);
    EXPECT_EQ(ctx.total[1], 1u);
    EXPECT_EQ(ctx.total[0], 100u - 0x40u);
}

TEST_F(DigestFiles, Sha1FileDigestsInChunksAndReportsOpenAndReadFailures)
{
    unsigned char out[20];
    Bytes content = pattern(3000);  // several 1024-byte reads and a partial one
    EXPECT_EQ(pavo_sha1file(put("data.bin", content).c_str(), out), 0);
    EXPECT_EQ(hex_of(out, 20), openssl_digest(content));
    EXPECT_EQ(pavo_sha1file(put("empty.bin", {}).c_str(), out), 0);
    EXPECT_EQ(hex_of(out, 20), kEmptyDigest);

    // A directory opens for reading but every read fails.
    EXPECT_EQ(pavo_sha1file(dir_.path().c_str(), out), 2);
    EXPECT_EQ(hex_of(out, 20), kEmptyDigest);

    std::memset(out, 0xAB, sizeof out);
    EXPECT_EQ(pavo_sha1file(dir_.file("absent").c_str(), out), 1);
    EXPECT_EQ(Bytes(out, out + 20), Bytes(20, 0xAB));
}

TEST(HmacSha1, Rfc2202Vectors)
{
    const struct { Bytes key; Bytes data; const char* mac; } vectors[] = {
        {Bytes(20, 0x0b), bytes_of("Hi There"), "b617318655057264e28bc0b6fb378c8ef146be00"},
        {bytes_of("Jefe"), bytes_of("what do ya want for nothing?"),
         "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {Bytes(20, 0xaa), Bytes(50, 0xdd), "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
        {unhex("0102030405060708090a0b0c0d0e0f10111213141516171819"), Bytes(50, 0xcd),
         "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
        {Bytes(20, 0x0c), bytes_of("Test With Truncation"),
         "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04"},
        {Bytes(80, 0xaa), bytes_of("Test Using Larger Than Block-Size Key - Hash Key First"),
         "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
        {Bytes(80, 0xaa),
         bytes_of("Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"),
         "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
    };
    for (const auto& v : vectors)
        EXPECT_EQ(pavo_hmac(v.key, v.data), v.mac);
}

// A key of 64 bytes is used as it stands; a longer one is hashed first.
TEST(HmacSha1, OneShotAndStreamingMatchOpenSslAcrossKeyLengths)
{
    Bytes data = pattern(150);
    for (size_t keylen : {0u, 1u, 20u, 63u, 64u, 65u, 200u}) {
        Bytes key = pattern(keylen);
        pavo_sha1context ctx;
        unsigned char out[20];
        pavo_sha1hmac_starts(&ctx, key.data(), static_cast<int>(keylen));
        pavo_sha1hmac_update(&ctx, data.data(), 70);
        pavo_sha1hmac_update(&ctx, data.data() + 70, 80);
        pavo_sha1hmac_finish(&ctx, out);
        EXPECT_EQ(hex_of(out, 20), openssl_hmac(key, data)) << "key length " << keylen;
        EXPECT_EQ(pavo_hmac(key, data), openssl_hmac(key, data)) << "key length " << keylen;
    }
    Bytes key65 = pattern(65);
    unsigned char hashed[20];
    sha1(key65.data(), 65, hashed);
    EXPECT_EQ(pavo_hmac(key65, data), pavo_hmac(Bytes(hashed, hashed + 20), data));
    EXPECT_NE(pavo_hmac(key65, data), pavo_hmac(pattern(64), data));  // its 64-byte prefix
}

TEST(Base64Codecs, Rfc4648VectorsAndEveryByteValueThroughBoth)
{
    const std::pair<std::string, std::string> vectors[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},       {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
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
}

TEST(Base64Codecs, EncodingNeverBreaksLines)
{
    EXPECT_EQ(CConvert::enBase64(std::string(1, '\0')), "AA==");
    EXPECT_EQ(CConvert::enBase64("\x01\x02", 2), "AQI=");
    EXPECT_EQ(CConvert::enBase64(std::string(57, 'x')).size(), 76u);
    EXPECT_EQ(CConvert::enBase64(std::string(300, 'y')).find('\n'), std::string::npos);
    EXPECT_EQ(Base64().base64_encode(std::string(300, 'y')).find('\n'), std::string::npos);
}

TEST(Base64Codecs, FirstCodecRefusesBadLengthsButDecodesPadsAndForeignBytes)
{
    char buf[8];
    std::memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(CConvert::deBase64(std::string("QQ="), buf), 0);
    EXPECT_EQ(buf[0], 'Z');
    EXPECT_EQ(CConvert::deBase64(std::string("Zm9vY")), "");
    // Trailing pads are counted off; whole groups are written.
    EXPECT_EQ(CConvert::deBase64(std::string("QQ=="), buf), 1);
    EXPECT_EQ(std::string(buf, 4), std::string("A\0\0Z", 4));
    EXPECT_EQ(CConvert::deBase64(std::string("QUI="), buf), 2);
    EXPECT_EQ(CConvert::deBase64(std::string("QUJD"), buf), 3);
    // "!" keeps its own value 0x21: (16 << 2) | (0x21 >> 4) = 'B'.
    EXPECT_EQ(CConvert::deBase64(std::string("Q!=="), buf), 1);
    EXPECT_EQ(buf[0], 'B');
    // A pad group in the middle decodes as zero bits and still counts.
    EXPECT_EQ(CConvert::deBase64(std::string("QQ==QQ=="), buf), 4);
    EXPECT_EQ(std::string(buf, 4), std::string("A\0\0A", 4));
    EXPECT_EQ(CConvert::deBase64(std::string("QQ==QUJD")), std::string("A\0\0ABC", 6));
}

TEST(Base64Codecs, SecondCodecStopsAtFirstPadOrForeignCharacter)
{
    const std::pair<const char*, const char*> cases[] = {
        {"QUJD*REVG", "ABC"}, {"QUJD\nREVG", "ABC"}, {"Zm9v=Zm9v", "foo"}, {"QQ", "A"},
        {"QUI", "AB"},        {"Q", ""},             {"QUJDR", "ABC"},
    };
    for (const auto& [encoded, plain] : cases)
        EXPECT_EQ(Base64().base64_decode(std::string(encoded)), plain) << encoded;
    const unsigned char raw[] = "QUJDREVG";
    EXPECT_EQ(Base64().base64_decode(raw, 4), "ABC");  // in_len bounds the read
}

TEST(Crc32, CheckValueChainingOverEverySplitAndZeroLength)
{
    EXPECT_EQ(Crc32_ComputeBuf(0, kCheck, 9), 0xCBF43926ul);
    EXPECT_EQ(Crc32_ComputeBuf(0, "The quick brown fox jumps over the lazy dog", 43), 0x414FA339ul);
    for (size_t split = 0; split <= 9; ++split) {
        unsigned long crc = Crc32_ComputeBuf(0, kCheck, split);
        EXPECT_EQ(Crc32_ComputeBuf(crc, kCheck + split, 9 - split), 0xCBF43926ul) << split;
    }
    EXPECT_EQ(Crc32_ComputeBuf(0x12345678ul, kCheck, 0), 0x12345678ul);
}

TEST_F(DigestFiles, Crc32FilesChainAcrossChunksAndEmptyGivesZero)
{
    // Two whole 8192-byte reads and a partial one; the check text; nothing.
    for (const Bytes& content : {pattern(20000), bytes_of(kCheck), Bytes()}) {
        SCOPED_TRACE(content.size());
        FILE* f = std::fopen(put("data.bin", content).c_str(), "rb");
        ASSERT_NE(f, nullptr);
        unsigned long crc = 1;
        EXPECT_EQ(Crc32_ComputeFile(f, &crc), 0);
        EXPECT_EQ(crc, Crc32_ComputeBuf(0, content.data(), content.size()));
        std::rewind(f);
        unsigned char rc[4] = {9, 9, 9, 9};
        char most_significant_first[9];
        std::snprintf(most_significant_first, sizeof most_significant_first, "%08lx", crc);
        EXPECT_EQ(Crc32_ComputeFileRC(f, rc), 4);
        EXPECT_EQ(hex_of(rc, 4), most_significant_first);
        std::fclose(f);
    }
}

TEST_F(DigestFiles, Crc32ReadErrorsPrintAndKeepThePartialCrc)
{
    // A write-only stream fails on the first read.
    FILE* f = std::fopen(put("out.bin", bytes_of("content")).c_str(), "w");
    ASSERT_NE(f, nullptr);
    unsigned long crc = 7;
    unsigned char rc[4] = {9, 9, 9, 9};
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), -1);
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error reading file\nerror reading file\n");
    EXPECT_EQ(crc, 0ul);
    EXPECT_EQ(hex_of(rc, 4), "00000000");
    std::fclose(f);

    // After a partial read, the CRC of what was read stays; the 4-byte form
    // leaves it in the machine's own byte order.
    cookie_io_functions_t io{};
    io.read = read_once_then_fail;
    std::string first = kCheck, second = kCheck;
    FILE* once = fopencookie(&first, "r", io);
    FILE* again = fopencookie(&second, "r", io);
    ASSERT_TRUE(once != nullptr && again != nullptr);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFile(once, &crc), -1);
    EXPECT_EQ(Crc32_ComputeFileRC(again, rc), -1);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(crc, 0xCBF43926ul);
    uint32_t machine_order;
    std::memcpy(&machine_order, rc, 4);
    EXPECT_EQ(machine_order, 0xCBF43926u);
    std::fclose(once);
    std::fclose(again);
}
