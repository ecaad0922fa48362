// SHA-1, HMAC-SHA1, the two Base64 codecs and CRC-32: published vectors,
// padding and chunk boundaries against OpenSSL, and each deliberate tolerance.
#include <gtest/gtest.h>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "pavo.h"
#include "security/Base64.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

std::string hex_of(const unsigned char* data, size_t n)
{
    std::string out;
    char pair[3];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(pair, sizeof pair, "%02x", data[i]);
        out += pair;
    }
    return out;
}

Bytes unhex(const std::string& hex)
{
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
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

Bytes pattern(size_t n)
{
    Bytes data(n);
    for (size_t i = 0; i < n; ++i)
        data[i] = static_cast<unsigned char>(i * 31 + 7);
    return data;
}

// Each test that touches files gets its own directory.
class DigestFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/pavo_digest_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override
    {
        for (const std::string& path : files_)
            std::remove(path.c_str());
        rmdir(dir_.c_str());
    }
    std::string write_file(const std::string& name, const Bytes& content)
    {
        std::string path = dir_ + "/" + name;
        FILE* f = std::fopen(path.c_str(), "wb");
        EXPECT_NE(f, nullptr);
        if (!content.empty())
            std::fwrite(content.data(), 1, content.size(), f);
        std::fclose(f);
        files_.push_back(path);
        return path;
    }
    std::string dir_;
    std::vector<std::string> files_;
};

// A stream that yields `data` once and then fails: a read error after a
// partial read.
struct FailingSource {
    std::string data;
    bool delivered = false;
};

ssize_t failing_read(void* cookie, char* buf, size_t size)
{
    FailingSource* source = static_cast<FailingSource*>(cookie);
    if (source->delivered || size < source->data.size())
        return -1;
    std::memcpy(buf, source->data.data(), source->data.size());
    source->delivered = true;
    return static_cast<ssize_t>(source->data.size());
}

FILE* open_failing_stream(FailingSource* source)
{
    cookie_io_functions_t io{};
    io.read = failing_read;
    return fopencookie(source, "r", io);
}

const char kCheck[] = "123456789";

}  // namespace

// ---------------------------------------------------------------- SHA-1

TEST(Sha1, PublishedVectors)
{
    struct Vector {
        std::string input;
        int repeat;
        const char* digest;
    };
    const Vector vectors[] = {
        {"", 1, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", 1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 1,
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {"a", 1000000, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"0123456701234567012345670123456701234567012345670123456701234567", 10,
         "dea356a2cddd90c7a7ecedc5ebb563934f460452"},
    };
    for (const Vector& v : vectors) {
        std::string whole;
        for (int i = 0; i < v.repeat; ++i)
            whole += v.input;
        EXPECT_EQ(pavo_digest(bytes_of(whole)), v.digest) << v.input << " x" << v.repeat;

        // The same message fed one repetition at a time.
        pavo_sha1context ctx;
        unsigned char out[20];
        pavo_sha1starts(&ctx);
        for (int i = 0; i < v.repeat; ++i)
            pavo_sha1update(&ctx, reinterpret_cast<const unsigned char*>(v.input.data()),
                            static_cast<int>(v.input.size()));
        pavo_sha1finish(&ctx, out);
        EXPECT_EQ(hex_of(out, 20), v.digest) << v.input << " in pieces";
    }
}

TEST(Sha1, EveryLengthAroundThePaddingBoundariesMatchesOpenSsl)
{
    for (size_t n = 0; n <= 200; ++n) {
        Bytes data = pattern(n);
        EXPECT_EQ(pavo_digest(data), openssl_digest(data)) << "length " << n;
    }
}

TEST(Sha1, EverySplitOfABoundaryMessageGivesTheSameDigest)
{
    for (size_t n : {55u, 56u, 63u, 64u, 65u, 119u, 120u, 128u}) {
        Bytes data = pattern(n);
        std::string expected = openssl_digest(data);
        for (size_t split = 0; split <= n; ++split) {
            pavo_sha1context ctx;
            unsigned char out[20];
            pavo_sha1starts(&ctx);
            pavo_sha1update(&ctx, data.data(), static_cast<int>(split));
            pavo_sha1update(&ctx, data.data() + split, static_cast<int>(n - split));
            pavo_sha1finish(&ctx, out);
            EXPECT_EQ(hex_of(out, 20), expected) << "length " << n << " split " << split;
        }
    }
}

TEST(Sha1, NonPositiveLengthAddsNothing)
{
    pavo_sha1context ctx;
    unsigned char out[20];
    const unsigned char byte = 'x';
    pavo_sha1starts(&ctx);
    pavo_sha1update(&ctx, &byte, 0);
    pavo_sha1update(&ctx, &byte, -5);
    EXPECT_EQ(ctx.total[0], 0u);
    pavo_sha1finish(&ctx, out);
    EXPECT_EQ(hex_of(out, 20), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(Sha1, ByteCountCarriesIntoHighWord)
{
    pavo_sha1context ctx;
    pavo_sha1starts(&ctx);
    ctx.total[0] = 0xFFFFFFC0u;  // block-aligned, so no partial block is pending
    Bytes data = pattern(100);
    pavo_sha1update(&ctx, data.data(), 100);
    EXPECT_EQ(ctx.total[1], 1u);
    EXPECT_EQ(ctx.total[0], 100u - 0x40u);
}

TEST_F(DigestFiles, Sha1FileDigestsContentInChunks)
{
    Bytes content = pattern(3000);  // several 1024-byte reads and a partial one
    std::string path = write_file("data.bin", content);
    unsigned char out[20];
    EXPECT_EQ(pavo_sha1file(path.c_str(), out), 0);
    EXPECT_EQ(hex_of(out, 20), openssl_digest(content));

    std::string empty = write_file("empty.bin", {});
    EXPECT_EQ(pavo_sha1file(empty.c_str(), out), 0);
    EXPECT_EQ(hex_of(out, 20), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST_F(DigestFiles, Sha1FileOfMissingFileReturnsOneAndLeavesOutput)
{
    unsigned char out[20];
    std::memset(out, 0xAB, sizeof out);
    std::string missing = dir_ + "/absent";
    EXPECT_EQ(pavo_sha1file(missing.c_str(), out), 1);
    for (unsigned char b : out)
        EXPECT_EQ(b, 0xAB);
}

TEST_F(DigestFiles, Sha1FileReadErrorReturnsTwoWithDigestOfWhatWasRead)
{
    // A directory opens for reading but every read fails.
    unsigned char out[20];
    EXPECT_EQ(pavo_sha1file(dir_.c_str(), out), 2);
    EXPECT_EQ(hex_of(out, 20), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

// ---------------------------------------------------------------- HMAC-SHA1

TEST(HmacSha1, Rfc2202Vectors)
{
    struct Vector {
        Bytes key;
        Bytes data;
        const char* mac;
    };
    const Vector vectors[] = {
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
    for (const Vector& v : vectors)
        EXPECT_EQ(pavo_hmac(v.key, v.data), v.mac);
}

TEST(HmacSha1, SixtyFourByteKeyIsUsedAsItStandsAndLongerIsHashedFirst)
{
    Bytes data = bytes_of("message");
    Bytes key64 = pattern(64);
    EXPECT_EQ(pavo_hmac(key64, data), openssl_hmac(key64, data));

    Bytes key65 = pattern(65);
    unsigned char hashed[20];
    sha1(key65.data(), 65, hashed);
    EXPECT_EQ(pavo_hmac(key65, data), openssl_hmac(key65, data));
    EXPECT_EQ(pavo_hmac(key65, data), pavo_hmac(Bytes(hashed, hashed + 20), data));
    EXPECT_NE(pavo_hmac(key65, data), pavo_hmac(key64, data));  // key64 is key65's prefix
}

TEST(HmacSha1, StreamingMatchesOneShotAcrossKeyAndDataLengths)
{
    for (size_t keylen : {0u, 1u, 20u, 63u, 64u, 65u, 200u}) {
        Bytes key = pattern(keylen);
        Bytes data = pattern(150);
        pavo_sha1context ctx;
        unsigned char out[20];
        pavo_sha1hmac_starts(&ctx, key.data(), static_cast<int>(keylen));
        pavo_sha1hmac_update(&ctx, data.data(), 70);
        pavo_sha1hmac_update(&ctx, data.data() + 70, 80);
        pavo_sha1hmac_finish(&ctx, out);
        EXPECT_EQ(hex_of(out, 20), openssl_hmac(key, data)) << "key length " << keylen;
    }
}

// ---------------------------------------------------------------- Base64

TEST(Base64Codecs, Rfc4648VectorsBothWays)
{
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},       {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
    };
    Base64 second;
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(CConvert::enBase64(plain, std::strlen(plain)), encoded);
        EXPECT_EQ(CConvert::enBase64(std::string(plain)), encoded);
        EXPECT_EQ(CConvert::deBase64(std::string(encoded)), plain);
        EXPECT_EQ(second.base64_encode(std::string(plain)), encoded);
        EXPECT_EQ(second.base64_decode(std::string(encoded)), plain);
    }
}

TEST(Base64Codecs, EveryByteValueRoundTripsThroughBoth)
{
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    for (size_t cut : {256u, 255u, 254u}) {
        std::string input = all.substr(0, cut);
        Base64 second;
        std::string first_encoded = CConvert::enBase64(input);
        EXPECT_EQ(first_encoded, second.base64_encode(input));
        EXPECT_EQ(CConvert::deBase64(first_encoded), input);
        EXPECT_EQ(second.base64_decode(first_encoded), input);
    }
}

TEST(Base64Codecs, EncodingNeverBreaksLines)
{
    const char zero = '\0';
    EXPECT_EQ(CConvert::enBase64(&zero, 1), "AA==");
    EXPECT_EQ(CConvert::enBase64("\x01\x02", 2), "AQI=");
    std::string long_input(57, 'x');
    std::string encoded = CConvert::enBase64(long_input);
    EXPECT_EQ(encoded.size(), 76u);
    EXPECT_EQ(CConvert::enBase64(std::string(300, 'y')).find('\n'), std::string::npos);
    EXPECT_EQ(Base64().base64_encode(std::string(300, 'y')).find('\n'), std::string::npos);
}

TEST(Base64Codecs, FirstCodecRefusesLengthsNotAMultipleOfFour)
{
    char buf[8];
    std::memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(CConvert::deBase64(std::string("QQ="), buf), 0);
    EXPECT_EQ(buf[0], 'Z');
    EXPECT_EQ(CConvert::deBase64(std::string("Zm9vY")), "");
}

TEST(Base64Codecs, FirstCodecCountsTrailingPadsAndWritesWholeGroups)
{
    char buf[8];
    std::memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(CConvert::deBase64(std::string("QQ=="), buf), 1);
    EXPECT_EQ(std::string(buf, 4), std::string("A\0\0Z", 4));
    EXPECT_EQ(CConvert::deBase64(std::string("QUI="), buf), 2);
    EXPECT_EQ(CConvert::deBase64(std::string("QUJD"), buf), 3);
}

TEST(Base64Codecs, FirstCodecDecodesForeignBytesAndMiddlePadsWithoutComplaint)
{
    char buf[8] = {0};
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
    Base64 codec;
    EXPECT_EQ(codec.base64_decode(std::string("QUJD*REVG")), "ABC");
    EXPECT_EQ(codec.base64_decode(std::string("QUJD\nREVG")), "ABC");
    EXPECT_EQ(codec.base64_decode(std::string("Zm9v=Zm9v")), "foo");
    EXPECT_EQ(codec.base64_decode(std::string("QQ")), "A");
    EXPECT_EQ(codec.base64_decode(std::string("QUI")), "AB");
    EXPECT_EQ(codec.base64_decode(std::string("Q")), "");
    EXPECT_EQ(codec.base64_decode(std::string("QUJDR")), "ABC");
    const unsigned char raw[] = "QUJDREVG";
    EXPECT_EQ(codec.base64_decode(raw, 4), "ABC");  // in_len bounds the read
}

// ---------------------------------------------------------------- CRC-32

TEST(Crc32, CheckValueAndChainingOverEverySplit)
{
    EXPECT_EQ(Crc32_ComputeBuf(0, kCheck, 9), 0xCBF43926ul);
    EXPECT_EQ(Crc32_ComputeBuf(0, "The quick brown fox jumps over the lazy dog", 43), 0x414FA339ul);
    for (size_t split = 0; split <= 9; ++split) {
        unsigned long crc = Crc32_ComputeBuf(0, kCheck, split);
        crc = Crc32_ComputeBuf(crc, kCheck + split, 9 - split);
        EXPECT_EQ(crc, 0xCBF43926ul) << "split " << split;
    }
}

TEST(Crc32, ZeroLengthReturnsInputUnchanged)
{
    EXPECT_EQ(Crc32_ComputeBuf(0, kCheck, 0), 0ul);
    EXPECT_EQ(Crc32_ComputeBuf(0x12345678ul, kCheck, 0), 0x12345678ul);
}

TEST_F(DigestFiles, Crc32FileFormsChainAcrossChunks)
{
    Bytes content = pattern(20000);  // two whole 8192-byte reads and a partial
    std::string path = write_file("data.bin", content);
    FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    unsigned long crc = 1;
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), 0);
    EXPECT_EQ(crc, Crc32_ComputeBuf(0, content.data(), content.size()));
    std::fclose(f);

    std::string check = write_file("check.txt", bytes_of(kCheck));
    f = std::fopen(check.c_str(), "rb");
    unsigned char rc[4] = {1, 2, 3, 4};
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), 4);
    EXPECT_EQ(hex_of(rc, 4), "cbf43926");
    std::fclose(f);
}

TEST_F(DigestFiles, Crc32OfEmptyFileIsZero)
{
    std::string path = write_file("empty.bin", {});
    FILE* f = std::fopen(path.c_str(), "rb");
    unsigned long crc = 1;
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), 0);
    EXPECT_EQ(crc, 0ul);
    std::rewind(f);
    unsigned char rc[4] = {9, 9, 9, 9};
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), 4);
    EXPECT_EQ(hex_of(rc, 4), "00000000");
    std::fclose(f);
}

TEST_F(DigestFiles, Crc32ReadErrorOnWriteOnlyStream)
{
    std::string path = write_file("out.bin", bytes_of("content"));
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    unsigned long crc = 7;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error reading file\n");
    EXPECT_EQ(crc, 0ul);

    unsigned char rc[4] = {9, 9, 9, 9};
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "error reading file\n");
    EXPECT_EQ(hex_of(rc, 4), "00000000");
    std::fclose(f);
}

TEST(Crc32, ReadErrorAfterPartialReadKeepsPartialCrc)
{
    FailingSource source{kCheck};
    FILE* f = open_failing_stream(&source);
    ASSERT_NE(f, nullptr);
    unsigned long crc = 0;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFile(f, &crc), -1);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(crc, 0xCBF43926ul);
    std::fclose(f);

    FailingSource again{kCheck};
    f = open_failing_stream(&again);
    unsigned char rc[4];
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Crc32_ComputeFileRC(f, rc), -1);
    ::testing::internal::GetCapturedStderr();
    uint32_t machine_order;
    std::memcpy(&machine_order, rc, 4);  // left in the machine's own byte order
    EXPECT_EQ(machine_order, 0xCBF43926u);
    std::fclose(f);
}
