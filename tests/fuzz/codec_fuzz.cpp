/*
 * codec_fuzz.cpp - libFuzzer target over the encoders and decoders: the form
 * value encoder, both Base64 decoders, the hexadecimal and triple-DES
 * deciphering path, CRC-32 and HMAC-SHA1, and the time texts a server
 * sends. Output buffers are exactly as large as each contract asks, so that
 * AddressSanitizer sees any byte written beyond it; round trips are checked.
 */
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "pavo.h"
#include "security/Base64.h"
#include "service/pavo_service_requests.h"

namespace {

// A broken property is a finding like a crash: stop so the input is kept.
void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

// A heap block of exactly n bytes (n may be 0), so ASan bounds it tightly.
std::unique_ptr<char[]> exact_buffer(size_t n) { return std::unique_ptr<char[]>(new char[n]); }

constexpr size_t kMaxCipherBytes = 1024;  // the decipher refuses longer texts
constexpr size_t kMaxPlainBytes = 1023;   // the encipher's contract
constexpr size_t kMaxHexInput = 511;      // pavo_stringToHex's contract

// 40 hexadecimal characters, as the key derivation produces them.
char kDigestKey[] = "2FD4E1C67A2D28FCED849EE1BB76E7391B93EB12";

void check_urlencode(const std::string& text)
{
    auto out = exact_buffer(3 * text.size() + 1);
    require(pavo_urlencode(text.c_str(), out.get()) == out.get());
    require(std::strlen(out.get()) <= 3 * text.size());
    // The cut form, at a length the input chooses.
    const size_t bound = text.size() % 17 + 1;
    auto cut = exact_buffer(bound);
    pavo_inner_urlencode_cut(text.c_str(), cut.get(), bound);
    require(std::strncmp(cut.get(), out.get(), bound - 1) == 0);
}

void check_base64(const std::string& bytes)
{
    auto out = exact_buffer(bytes.size() / 4 * 3);
    const int count = CConvert::deBase64(bytes, out.get());
    require(count >= 0 && static_cast<size_t>(count) <= bytes.size() / 4 * 3);
    CConvert::deBase64(bytes);
    Base64 codec;
    codec.base64_decode(bytes);

    require(CConvert::deBase64(CConvert::enBase64(bytes)) == bytes);
    require(codec.base64_decode(codec.base64_encode(bytes)) == bytes);
}

// Deciphered text as pavo_decrypt gives it back: cut at the first byte
// below 9, where the padding would start.
std::string expected_plain(const std::string& bytes)
{
    size_t end = 0;
    while (end < bytes.size() && static_cast<unsigned char>(bytes[end]) >= 9)
        ++end;
    return bytes.substr(0, end);
}

size_t decrypt_output_size(size_t hex_length)
{
    const size_t length = hex_length / 2;
    if (length > kMaxCipherBytes)
        return 1;
    size_t blocks = length / 8 + 1;
    if (blocks > kMaxCipherBytes / 8)
        blocks = kMaxCipherBytes / 8;
    return blocks * 8 + 1;
}

void decrypt_with(std::string text, char* key, int keylen)
{
    auto plain = exact_buffer(decrypt_output_size(text.size()));
    char mode[] = "2";
    pavo_decrypt(mode, &text[0], static_cast<int>(text.size()), key, keylen, plain.get());
}

void check_hex_and_cipher(const std::string& bytes)
{
    // The answer's text as hexadecimal: exactly strlen / 2 bytes come out.
    std::string text = bytes.c_str();
    auto raw = exact_buffer(text.size() / 2);
    int length = -1;
    pavo_hexTostring(&text[0], raw.get(), &length);
    require(length == 0 || static_cast<size_t>(length) == text.size() / 2);

    decrypt_with(text, kDigestKey, static_cast<int>(sizeof kDigestKey - 1));
    // The text as its own key: shorter than 24 is padded, longer than 255 cut.
    std::string long_key = text;
    decrypt_with(text, &long_key[0], static_cast<int>(long_key.size()));

    std::string message = bytes;
    char mode[] = "2";
    auto cipher = exact_buffer((bytes.size() / 8 + 1) * 16 + 1);
    pavo_encrypt(mode, &message[0], static_cast<int>(message.size()), kDigestKey,
                 static_cast<int>(sizeof kDigestKey - 1), cipher.get());
    if (bytes.size() > kMaxPlainBytes) {
        require(cipher[0] == '\0');  // beyond the contract: refused, not cut
    } else {
        require(std::strlen(cipher.get()) == (bytes.size() / 8 + 1) * 16);
        auto plain = exact_buffer(decrypt_output_size(std::strlen(cipher.get())));
        pavo_decrypt(mode, cipher.get(), 0, kDigestKey, static_cast<int>(sizeof kDigestKey - 1),
                     plain.get());
        require(plain.get() == expected_plain(bytes));
    }

    std::string source = bytes;
    if (bytes.size() > kMaxHexInput) {
        char empty[1] = {'x'};
        pavo_stringToHex(&source[0], static_cast<int>(source.size()), empty);
        require(empty[0] == '\0');  // beyond the contract: refused
    } else {
        auto hex = exact_buffer(2 * bytes.size() + 1);
        pavo_stringToHex(&source[0], static_cast<int>(source.size()), hex.get());
        auto back = exact_buffer(bytes.size());
        int count = -1;
        pavo_hexTostring(hex.get(), back.get(), &count);
        require(static_cast<size_t>(count) == bytes.size() &&
                std::memcmp(back.get(), bytes.data(), bytes.size()) == 0);
    }
}

void check_digests(const std::string& bytes)
{
    const auto* input = reinterpret_cast<const unsigned char*>(bytes.data());
    const int size = static_cast<int>(bytes.size());
    const int half = size / 2;

    const unsigned long whole = Crc32_ComputeBuf(0, input, bytes.size());
    const unsigned long first = Crc32_ComputeBuf(0, input, static_cast<size_t>(half));
    require(Crc32_ComputeBuf(first, input + half, static_cast<size_t>(size - half)) == whole);
    // The first half is the key: keys above 64 bytes are digested first.
    unsigned char mac[20];
    pavo_sha1hmac(input, half, input + half, size - half, mac);
}

// Time texts reach the library from the login answer's "SystemTime".
void read_time_texts(const std::string& bytes)
{
    const char* text = bytes.c_str();
    pavo_nsecstr2ulong(text);
    SecStr2Ulong(text);
    DayStr2Ulong(text);
    _atoi64(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    check_urlencode(bytes.c_str());
    check_base64(bytes);
    check_hex_and_cipher(bytes);
    check_digests(bytes);
    read_time_texts(bytes);
    return 0;
}
