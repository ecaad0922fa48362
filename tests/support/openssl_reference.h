// OpenSSL as the tests' independent reference: hex text, SHA-1 and HMAC-SHA1, and
// triple-DES (EDE, ECB) keyed with the first 24 characters of a key text, "0"-padded.
#pragma once

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <string>
#include <vector>

namespace pavo_test {

using Bytes = std::vector<unsigned char>;

inline std::string hex_text(const unsigned char* data, size_t size)
{
    std::string out;
    for (size_t i = 0; i < size; ++i) {
        out += "0123456789ABCDEF"[data[i] >> 4];
        out += "0123456789ABCDEF"[data[i] & 0x0F];
    }
    return out;
}

// The SHA-1 of the data, or with a key its HMAC-SHA1, in upper-case hex.
inline std::string sha1_reference(const void* data, size_t size, const Bytes* key = nullptr)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (key == nullptr)
        EVP_Digest(data, size, out, &length, EVP_sha1(), nullptr);
    else
        HMAC(EVP_sha1(), key->data(), static_cast<int>(key->size()),
             static_cast<const unsigned char*>(data), size, out, &length);
    return hex_text(out, length);
}

// With PKCS#5 padding (a whole block on multiples of 8); empty when it does not decipher.
inline Bytes des3_reference(const std::string& keytext, const Bytes& input, bool encrypt)
{
    std::string key = keytext.substr(0, 24);
    key.resize(24, '0');
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(input.size() + 16);
    int length = 0, tail = 0;
    EVP_CipherInit_ex(ctx, EVP_des_ede3_ecb(), nullptr,
                      reinterpret_cast<const unsigned char*>(key.data()), nullptr, encrypt);
    bool ok = EVP_CipherUpdate(ctx, out.data(), &length, input.data(),
                               static_cast<int>(input.size())) == 1 &&
              EVP_CipherFinal_ex(ctx, out.data() + length, &tail) == 1;
    EVP_CIPHER_CTX_free(ctx);
    out.resize(ok ? static_cast<size_t>(length + tail) : 0);
    return out;
}

}  // namespace pavo_test
