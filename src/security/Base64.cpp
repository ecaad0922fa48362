/*
 * Base64.cpp - the two Base64 codecs and the alphabet they share.
 * Encoding is the same standard one in both; decoding differs deliberately
 * (see the class comments). Offered to the application; nothing inside the
 * library calls them.
 */
#include "security/Base64.h"

#include <vector>

const std::string base64_chars =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

namespace {

constexpr int kForeign = -1;

/* The 6-bit value of an alphabet character, kForeign for anything else
 * ("=" included: each codec decides what a pad means). */
constexpr int sextet_of(unsigned char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return kForeign;
}

/* Four 6-bit values (zero for missing ones) to three bytes. */
void assemble_bytes(const unsigned char sextets[4], unsigned char out[3])
{
    out[0] = static_cast<unsigned char>((sextets[0] << 2) | (sextets[1] >> 4));
    out[1] = static_cast<unsigned char>((sextets[1] << 4) | (sextets[2] >> 2));
    out[2] = static_cast<unsigned char>((sextets[2] << 6) | sextets[3]);
}

std::string encode_standard(const unsigned char* bytes, size_t length)
{
    std::string out;
    if (bytes == nullptr)
        return out;
    out.reserve((length + 2) / 3 * 4);
    unsigned char group[3];
    unsigned char chars[4];
    size_t whole = length - length % 3;
    for (size_t i = 0; i < whole; i += 3) {
        CConvert::_enBase64Help(bytes + i, chars);
        out.append(reinterpret_cast<const char*>(chars), 4);
    }
    size_t rest = length - whole;
    if (rest > 0) {
        group[0] = bytes[whole];
        group[1] = (rest == 2) ? bytes[whole + 1] : 0;
        group[2] = 0;
        CConvert::_enBase64Help(group, chars);
        out.append(reinterpret_cast<const char*>(chars), rest + 1);
        out.append(3 - rest, '=');
    }
    return out;
}

}  // namespace

void CConvert::_enBase64Help(const unsigned char chasc[3], unsigned char chuue[4])
{
    chuue[0] = static_cast<unsigned char>(base64_chars[chasc[0] >> 2]);
    chuue[1] =
        static_cast<unsigned char>(base64_chars[((chasc[0] & 0x03) << 4) | (chasc[1] >> 4)]);
    chuue[2] =
        static_cast<unsigned char>(base64_chars[((chasc[1] & 0x0F) << 2) | (chasc[2] >> 6)]);
    chuue[3] = static_cast<unsigned char>(base64_chars[chasc[2] & 0x3F]);
}

void CConvert::_deBase64Help(unsigned char chuue[4], unsigned char chasc[3])
{
    for (int i = 0; i < 4; ++i) {
        int value = sextet_of(chuue[i]);
        if (value != kForeign)
            chuue[i] = static_cast<unsigned char>(value);
        else if (chuue[i] == '=')
            chuue[i] = 0;
        // Any other byte is kept as it is, without complaint.
    }
    assemble_bytes(chuue, chasc);
}

std::string CConvert::enBase64(const char* inbuf, size_t inbufLen)
{
    return encode_standard(reinterpret_cast<const unsigned char*>(inbuf), inbufLen);
}

std::string CConvert::enBase64(const std::string& inbuf)
{
    return enBase64(inbuf.data(), inbuf.size());
}

int CConvert::deBase64(std::string src, char* outbuf)
{
    size_t length = src.size();
    if (length % 4 != 0 || length == 0 || outbuf == nullptr)
        return 0;
    unsigned char* out = reinterpret_cast<unsigned char*>(outbuf);
    for (size_t i = 0; i < length; i += 4) {
        unsigned char group[4];
        src.copy(reinterpret_cast<char*>(group), 4, i);
        _deBase64Help(group, out + i / 4 * 3);
    }
    int count = static_cast<int>(length / 4 * 3);
    if (src[length - 1] == '=') {
        --count;
        if (src[length - 2] == '=')
            --count;
    }
    return count;
}

std::string CConvert::deBase64(std::string src)
{
    // Twice the input length, as before; one more byte for the terminator.
    std::vector<char> buffer(src.size() * 2 + 1, '\0');
    int count = deBase64(src, buffer.data());
    buffer[count] = '\0';
    return std::string(buffer.data(), count);
}

std::string Base64::base64_encode(const unsigned char* bytes_to_encode, unsigned int in_len) const
{
    return encode_standard(bytes_to_encode, in_len);
}

std::string Base64::base64_encode(const std::string& s) const
{
    return base64_encode(reinterpret_cast<const unsigned char*>(s.data()),
                         static_cast<unsigned int>(s.size()));
}

std::string Base64::base64_decode(const unsigned char* encoded_string, unsigned int in_len) const
{
    std::string out;
    if (encoded_string == nullptr)
        return out;
    unsigned char sextets[4];
    unsigned char bytes[3];
    int held = 0;
    for (unsigned int i = 0; i < in_len; ++i) {
        int value = sextet_of(encoded_string[i]);
        if (value == kForeign)  // "=" or a foreign character: stop quietly
            break;
        sextets[held++] = static_cast<unsigned char>(value);
        if (held == 4) {
            assemble_bytes(sextets, bytes);
            out.append(reinterpret_cast<const char*>(bytes), 3);
            held = 0;
        }
    }
    // A final group of 2 or 3 characters gives 1 or 2 bytes; 1 gives none.
    if (held >= 2) {
        for (int i = held; i < 4; ++i)
            sextets[i] = 0;
        assemble_bytes(sextets, bytes);
        out.append(reinterpret_cast<const char*>(bytes), held - 1);
    }
    return out;
}

std::string Base64::base64_decode(const std::string& decode_string) const
{
    return base64_decode(reinterpret_cast<const unsigned char*>(decode_string.data()),
                         static_cast<unsigned int>(decode_string.size()));
}
