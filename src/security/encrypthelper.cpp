/*
 * encrypthelper.cpp - the request authenticator: random number, timestamp
 * and the builder that enciphers "random$user$tvid$ip$business$time$Korix".
 * The open, login, logout and recharge requests call the builder; the
 * enciphering is the triple-DES cipher's.
 */
#include "security/encrypthelper.h"
#include "runtime/pavo_runtime.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr int kSourceSize = 4098;
constexpr int kSmallBufferSize = 32;  // random number and timestamp
constexpr unsigned kRandomRange = 100000000;

const char* or_empty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

extern "C" {

void pavo_getrandom(char* buf)
{
    if (buf == nullptr)
        return;
    // Reseeded on every call: two calls within one second give the same number.
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::snprintf(buf, kSmallBufferSize, "%u", static_cast<unsigned>(std::rand()) % kRandomRange);
}

void pavo_gettimestamp(char* buf)
{
    if (buf == nullptr)
        return;
    struct tm local;
    if (!pavo_localtime64(pavo_now64(), &local)) {
        buf[0] = '\0';
        return;
    }
    std::strftime(buf, kSmallBufferSize, "%Y%m%d%H%M%S", &local);
}

void pavo_createauthenticator(char* authenticator, tpavo_cryptmode cryptmode,
                              const char* keyvalue, const char* userid, const char* ip,
                              const char* tvid, const char* bizfield)
{
    (void)cryptmode;  // triple-DES is always used
    char random_text[kSmallBufferSize] = {0};
    char timestamp[kSmallBufferSize] = {0};
    char source[kSourceSize] = {0};
    if (authenticator == nullptr) {
        pavo_inner_loginfo("NULL authenticator Buffer\r\n");
        return;
    }
    pavo_getrandom(random_text);
    pavo_gettimestamp(timestamp);
    // Field order is random, userid, tvid, ip - not the argument order.
    std::snprintf(source, sizeof source, "%s$%s$%s$%s$%s$%s$Korix", random_text, or_empty(userid),
                  or_empty(tvid), or_empty(ip), or_empty(bizfield), timestamp);
    pavo_inner_loginfo("authenticator source:%s\r\n", pavo_inner_logsecret(source));

    const char* key = or_empty(keyvalue);
    pavo_inner_encrypt_text(source, static_cast<int>(std::strlen(source)), key,
                            static_cast<int>(std::strlen(key)), authenticator);
    pavo_inner_loginfo("\r\n%s\r\n", pavo_inner_logsecret(authenticator));
}

}  // extern "C"
