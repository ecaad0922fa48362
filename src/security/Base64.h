/*
 * Base64.h - the library's two Base64 codecs (RFC 4648 alphabet, "="
 * padding). CConvert and Base64 differ on purpose in what they tolerate;
 * both are kept for applications built against either. C++ linkage.
 */
#ifndef PAVO_BASE64_H
#define PAVO_BASE64_H

#include <cstddef>
#include <string>

extern const std::string base64_chars;

/* First codec: refuses a length that is not a multiple of 4, and decodes
 * everything else, pads in the middle and foreign bytes included. */
class CConvert {
public:
    static void _enBase64Help(const unsigned char chasc[3], unsigned char chuue[4]);
    /* Maps chuue in place to 6-bit values first; a foreign byte keeps its own
     * value and enters the bit assembly as it is. */
    static void _deBase64Help(unsigned char chuue[4], unsigned char chasc[3]);

    static std::string enBase64(const char* inbuf, size_t inbufLen);
    static std::string enBase64(const std::string& inbuf);
    /* outbuf must hold 3/4 of src's length. Returns the decoded count. */
    static int deBase64(std::string src, char* outbuf);
    static std::string deBase64(std::string src);
};

/* Second codec: accepts any length and stops quietly at the first "=" or
 * foreign character. */
class Base64 {
public:
    std::string base64_encode(const unsigned char* bytes_to_encode, unsigned int in_len) const;
    std::string base64_encode(const std::string& s) const;
    std::string base64_decode(const unsigned char* encoded_string, unsigned int in_len) const;
    std::string base64_decode(const std::string& decode_string) const;
};

#endif
