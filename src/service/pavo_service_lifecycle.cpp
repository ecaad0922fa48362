/*
 * pavo_service_lifecycle.cpp - start-up and shut-down of the library: pavo_init
 * fills g_pavo_env (terminal identity, IP address, korix.conf, log, callbacks,
 * queue, worker pool, libcurl, connection cache, result store) and
 * pavo_cleanup takes it down again. Called by the application.
 */
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <curl/curl.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_session.h"
#include "service/pavo_service_terminal.h"
#include "service/pavo_settings.h"
#include "service/pavo_upload.h"

namespace {

constexpr int kWorkerThreads = 3;

int builtin_default_callback(tpavo_event*)
{
    pavo_log_info("defaultcallback trigger\r\n");
    return 0;
}

int builtin_exception_callback(tpavo_event*)
{
    pavo_log_info("exceptioncallback trigger\r\n");
    return 0;
}

void clear_callback_slots()
{
    for (int type = 0; type < PAVO_CALLBACK_SLOTS; ++type)
        pavo_iner_registercallback(static_cast<pavo_callbacktype>(type), nullptr);
}

void clear_session_fields(tpavo_env& env)
{
    for (const pavo_session_field& field : g_pavo_fields) {
        if ((field.flags & PAVO_FIELD_CLEARED) != 0)
            memset(pavo_inner_fieldtext(&env, field), 0, field.size);
    }
}

void read_config(tpavo_env& env)
{
    char conf[PAVO_PROP_SIZE];
    pavo_inner_configpath(conf, sizeof conf);
    pavo_log_info("conf file:%s\r\n", conf);
    pavo_inner_readsettings(&env, conf);
}

// Where korix.conf can be kept: an existing directory we may write in.
bool usable_workdirectory(const char* path)
{
    struct stat info;
    return path[0] != '\0' && stat(path, &info) == 0 && S_ISDIR(info.st_mode) &&
           access(path, W_OK | X_OK) == 0;
}

// Start-up stops before the queue, the workers and libcurl exist: only the
// log and the pool are undone.
pavo_status_t refuse_workdirectory(tpavo_env& env)
{
    pavo_inner_seterror(PAVO_STATUS_FAILURE_WORKDIR,
                        "work directory \"%s\" is missing, empty or not writable",
                        env.workdirectory);
    pavo_log_cleanup();
    MyMemePoolDestruct(env.mpool);
    env.mpool = nullptr;
    return PAVO_STATUS_FAILURE_WORKDIR;
}

// A callback runs inside pavo_checkmessage, which still holds the answer and
// its job: starting or ending the library there would free them under it.
bool refused_in_callback(const char* call)
{
    if (!pavo_inner_incallback())
        return false;
    pavo_log_err("%s refused: called from a callback\r\n", call);
    return true;
}

// Transfers in flight abort, a job waiting for a worker is never started,
// asynchronous callers' pauses end; then every call has left and nothing
// they use is freed before.
void end_calls_in_flight(tpavo_env& env)
{
    pavo_inner_closecalls();
    pool_close(env.threadpool);
    pavo_inner_wakeengines();
    pavo_inner_waitcalls();
}

}  // namespace

extern "C" {

pavo_status_t pavo_inner_init(pavo_init_param* param)
{
    tpavo_env& env = g_pavo_env;
    if (refused_in_callback("pavo_init"))
        return PAVO_STATUS_FAILURE;
    if (g_global_inited == 0)
        pavo_global_init();
    if (pavo_relaxed_load(env.state) != PAVO_STATE_NONE)
        return PAVO_STATUS_FAILURE_ALREADYINITED;

    env.mpool = PAVO_MemPoolConstruct();
    pavo_relaxed_store(env.state, PAVO_STATE_NONE);
    pavo_relaxed_store(env.errorno, 0);

    clear_session_fields(env);
    pavo_relaxed_store(env.funcmode, FUNCMODE_SYNC);
    env.threadpool = nullptr;

    if (param != nullptr)
        pavo_inner_copyidentity(&env, param);

    pavo_log_info("pavo init begin %s\r\n", env.workdirectory);
    pavo_log_info("<===================== pavo version: %s ============================>\r\n",
                  PAVO_VERSION_TEXT);

    pavo_relaxed_store(env.funcmode, FUNCMODE_SYNC);
    pavo_initip(env.ip, sizeof env.ip);  // no address is not a failure

    read_config(env);
    if (pavo_relaxed_load(env.strictlocal) != 0 && !usable_workdirectory(env.workdirectory))
        return refuse_workdirectory(env);

    // Callbacks registered before start-up are dropped here.
    clear_callback_slots();
    pavo_iner_registercallback(PAVO_CALLBACK_EXCEPTION, builtin_exception_callback);
    pavo_iner_registercallback(PAVO_CALLBACK_DEFAULT, builtin_default_callback);

    // Failures from here on are not reported: start-up always succeeds.
    pavo_messageque_init(env.msgqueuesize);
    env.threadpool = pool_init(kWorkerThreads);
    curl_global_init(CURL_GLOBAL_ALL);
    pavo_inner_shareinit();
    pavo_resultlist_init();

    pavo_relaxed_store(env.state, PAVO_STATE_INITED);
    ++env.initref;
    pavo_log_info("pavo init end\r\n");
    return PAVO_STATUS_SUCCESS;
}

pavo_status_t pavo_init(pavo_init_param* context) { return pavo_inner_init(context); }

pavo_status_t pavo_inner_cleanup(void)
{
    tpavo_env& env = g_pavo_env;
    if (refused_in_callback("pavo_cleanup"))
        return PAVO_STATUS_FAILURE;
    pavo_log_info("pavo cleanup begin\r\n");
    if (env.initref < 1)
        return PAVO_STATUS_SUCCESS;

    --env.initref;
    // Repeats waiting for their time are dropped before the pool goes.
    pavo_inner_fleetstop();
    end_calls_in_flight(env);
    if (env.threadpool != nullptr)
        pool_destroy(env.threadpool);
    env.threadpool = nullptr;
    pavo_inner_fleetrelease();
    // No worker is left to use the shared connections.
    pavo_inner_sharecleanup();

    clear_callback_slots();

    // The queue and the result store hand their blocks back to the memory
    // pool, so both go before it; answers no one will pump go with them.
    pavo_inner_dropanswers();
    pavo_messageque_cleanup();
    pavo_resultlist_cleanup();
    if (env.mpool != nullptr)
        MyMemePoolDestruct(env.mpool);
    env.mpool = nullptr;

    pavo_log_info("pavo cleanup end\r\n");
    pavo_log_cleanup();
    // libcurl's global state stays: another start reuses it.
    pavo_relaxed_store(env.state, PAVO_STATE_NONE);
    pavo_inner_opencalls();
    return PAVO_STATUS_SUCCESS;
}

pavo_status_t pavo_cleanup(void) { return pavo_inner_cleanup(); }

}  // extern "C"
