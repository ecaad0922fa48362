/*
 * pavo_log_secrets.cpp - with "hidesecrets" on, log lines lose the session's
 * secrets before they reach any output: the values of the token and
 * authenticator fields in request bodies ("Key=value&"), answers
 * ("<Key>value<") and result dumps ("key:value"). The authenticator's source
 * and cipher text are masked where they are logged (pavo_inner_masksecret,
 * which the folders below reach as pavo_inner_logsecret).
 */
#include <string.h>

#include <string>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"

namespace {

// Longer names first: "ServerAuthenticator" before "Authenticator".
constexpr const char* kSecretNames[] = {"ServerAuthenticator", "serverauthenticator",
                                        "Authenticator", "UserToken", "usertoken"};

// A name counts only where a field begins: at the start, after a pair, a tag
// opening, a label's colon or a line break.
bool starts_field(const char* text, size_t at)
{
    return at == 0 || strchr("&<:\r\n ", text[at - 1]) != nullptr;
}

// Where the value after the separator ends.
size_t value_end(const char* text, size_t at, char separator)
{
    const char* stops = separator == '=' ? "&\r\n " : separator == '>' ? "<" : "\r\n";
    while (text[at] != '\0' && strchr(stops, text[at]) == nullptr)
        ++at;
    return at;
}

// Length of the secret name (and its separator) beginning at `at`, or 0.
size_t secret_at(const char* text, size_t at)
{
    if (!starts_field(text, at))
        return 0;
    for (const char* name : kSecretNames) {
        size_t length = strlen(name);
        if (strncmp(text + at, name, length) == 0 && text[at + length] != '\0' &&
            strchr("=>:", text[at + length]) != nullptr)
            return length + 1;
    }
    return 0;
}

}  // namespace

extern "C" {

const char* pavo_inner_masksecret(const char* text)
{
    return pavo_relaxed_load(g_pavo_env.hidesecrets) != 0 ? PAVO_SECRET_MARK : text;
}

}  // extern "C"

std::string pavo_inner_hidesecrets(const char* text)
{
    std::string out;
    size_t i = 0;
    while (text[i] != '\0') {
        size_t name = secret_at(text, i);
        if (name == 0) {
            out += text[i++];
            continue;
        }
        out.append(text + i, name);
        size_t end = value_end(text, i + name, text[i + name - 1]);
        if (end > i + name)
            out += PAVO_SECRET_MARK;
        i = end;
    }
    return out;
}
