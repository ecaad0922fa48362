/*
 * pavo_profile.cpp - the application profile: one switch (pavo_setprofile,
 * the korix.conf key and property "profile") mapped onto the behaviour
 * fields of g_pavo_env, one row per behaviour. Each behaviour keeps its own
 * key (a row of the session field table), whose default follows the profile.
 */
#include <stddef.h>
#include <string.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"

namespace {

const char kApplication[] = "application";

struct Behaviour {
    const char* key;
    size_t field;
    int documented;   // restores the documented behaviour exactly
    int application;  // what the profile turns it into
};

constexpr Behaviour kBehaviours[] = {
    {"loglevel", offsetof(tpavo_env, loglevel), PAVO_LOG_DEBUG, PAVO_LOG_INFO},
    {"quietconsole", offsetof(tpavo_env, quietconsole), 0, 1},
    {"hidesecrets", offsetof(tpavo_env, hidesecrets), 0, 1},
    {"errorresults", offsetof(tpavo_env, errorresults), 0, 1},
    {"asyncnowait", offsetof(tpavo_env, asyncnowait), 0, 1},
    {"wholekeys", offsetof(tpavo_env, wholekeys), 0, 1},
    {"strictlocal", offsetof(tpavo_env, strictlocal), 0, 1},
};

// Outside g_pavo_env: it must outlive the record's zero-filling and
// pavo_cleanup.
int g_profile_active = 0;

int& field_of(tpavo_env* env, const Behaviour& row)
{
    return *reinterpret_cast<int*>(reinterpret_cast<char*>(env) + row.field);
}

}  // namespace

extern "C" {

void pavo_inner_applyprofile(tpavo_env* env)
{
    const bool active = pavo_inner_profileactive() != 0;
    for (const Behaviour& row : kBehaviours)
        pavo_relaxed_store(field_of(env, row), active ? row.application : row.documented);
}

int pavo_inner_profiledefault(const char* key, int fallback)
{
    for (const Behaviour& row : kBehaviours) {
        if (strcmp(row.key, key) == 0)
            return pavo_inner_profileactive() != 0 ? row.application : row.documented;
    }
    return fallback;
}

int pavo_inner_profileactive(void) { return pavo_relaxed_load(g_profile_active); }

int pavo_setprofile(const char* name)
{
    int active;
    if (name == nullptr || name[0] == '\0')
        active = 0;
    else if (strcmp(name, kApplication) == 0)
        active = 1;
    else
        return -1;
    // Before the first start pavo_global_init applies it again after zero-filling.
    pavo_relaxed_store(g_profile_active, active);
    pavo_inner_applyprofile(&g_pavo_env);
    return 0;
}

}  // extern "C"
