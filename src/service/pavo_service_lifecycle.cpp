/*
 * pavo_service.cpp - start-up and shut-down of the library: pavo_init fills
 * g_pavo_env (identity, TVID, profile, IP address, korix.conf, log, callbacks,
 * queue, worker pool, libcurl, result store) and pavo_cleanup takes it down
 * again. Also the IP probe behind pavo_getip. Called by the application.
 */
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <curl/curl.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_session.h"
#include "service/pavo_settings.h"
#include "service/pavo_upload.h"

namespace {

// Room for 16 interface records of the 32-bit target's 32 bytes each.
constexpr int kInterfaceListSize = 512;

constexpr int kWorkerThreads = 3;

constexpr int kTvidOemLength = 10;
constexpr int kTvidTerminalLength = 10;
constexpr int kTvidDeviceLength = 16;

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

// Fixed-size fields take what fits; a longer text is cut silently.
__attribute__((format(printf, 3, 4))) void format_bounded(char* out, size_t size,
                                                         const char* format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(out, size, format, args);
    va_end(args);
}

// Init strings are copied as text: "%%" folds to "%" as it always did, and
// nothing else in them is interpreted.
void copy_init_string(char (&field)[PAVO_PROP_SIZE], const char* value)
{
    if (value != nullptr)
        pavo_format_literal(field, sizeof field, value);
}

void clear_session_fields(tpavo_env& env)
{
    for (const pavo_session_field& field : g_pavo_fields) {
        if ((field.flags & PAVO_FIELD_CLEARED) != 0)
            memset(pavo_inner_fieldtext(&env, field), 0, field.size);
    }
}

void build_tvid(tpavo_env& env)
{
    // Each part is padded or cut to exactly its width, so the TVID is always
    // 10 + 10 + 2 + 16 = 38 characters.
    char oem[kTvidOemLength + 1] = {0};
    char terminal[kTvidTerminalLength + 1] = {0};
    char device[kTvidDeviceLength + 1] = {0};
    string_leftpadding(oem, sizeof oem, env.oem_name, kTvidOemLength, "0");
    string_leftpadding(terminal, sizeof terminal, env.terminal_type, kTvidTerminalLength, "0");
    string_leftpadding(device, sizeof device, env.device_id, kTvidDeviceLength, "0");
    // The widths and the '0' flag of the documented layout change nothing on
    // parts that already have their exact widths.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    if (env.ipversion == 6)
        snprintf(env.tvid, sizeof env.tvid, "%010s%010sV6%016s", oem, terminal, device);
    else
        snprintf(env.tvid, sizeof env.tvid, "%010s%010sV4%016s", oem, terminal, device);
#pragma GCC diagnostic pop
}

void copy_identity(tpavo_env& env, const pavo_init_param& param)
{
    env.ipversion = param.ipversion;
    copy_init_string(env.oem_name, param.oem_name);
    copy_init_string(env.terminal_type, param.terminal_type);
    copy_init_string(env.device_id, param.device_id);
    copy_init_string(env.chipprofile, param.chipprofile);
    pavo_format_literal(env.korixprofile, sizeof env.korixprofile, PAVO_KORIX_PROFILE);
    copy_init_string(env.clientprofile, param.clientprofile);
    copy_init_string(env.workdirectory, param.workdirectory);
    copy_init_string(env.perpetualdirectory, param.perpetualdirectory);
    copy_init_string(env.tmpdirectory, param.tmpdirectory);

    build_tvid(env);
    format_bounded(env.tvprofile, sizeof env.tvprofile, "%s;%s;%s", env.chipprofile,
                   env.clientprofile, env.korixprofile);
    pavo_log_info("***TVID:%s\r\n", env.tvid);
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

// Appends count copies of text, never past the buffer's last byte.
void append_bounded(char* buffer, int buffersize, const char* text, int length)
{
    size_t used = strnlen(buffer, static_cast<size_t>(buffersize));
    size_t room = static_cast<size_t>(buffersize) - used;
    if (room <= 1)
        return;
    size_t take = static_cast<size_t>(length) < room - 1 ? static_cast<size_t>(length) : room - 1;
    memcpy(buffer + used, text, take);
    buffer[used + take] = '\0';
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
        copy_identity(env, *param);

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

// A shorter string is padded in front, a longer one keeps its beginning.
void string_leftpadding(char* buffer, int buffersize, const char* string, int padded_len,
                        const char* pad)
{
    if (buffer == nullptr || buffersize <= 0 || padded_len <= 0)
        return;
    if (pad == nullptr)
        pad = "";
    int padlength = static_cast<int>(strlen(pad));
    int length = string != nullptr ? static_cast<int>(strlen(string)) : 0;
    if (string != nullptr && length >= padded_len) {
        append_bounded(buffer, buffersize, string, padded_len);
        return;
    }
    for (int i = length; i < padded_len; ++i)
        append_bounded(buffer, buffersize, pad, padlength);
    if (string != nullptr)
        append_bounded(buffer, buffersize, string, length);
}

// The last interface in the kernel's list that reports an address wins.
int pavo_initip(char* ipbuffer, int buffersize)
{
    if (ipbuffer == nullptr || buffersize <= 0)
        return -1;
    memset(ipbuffer, 0, static_cast<size_t>(buffersize));

    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return -1;

    alignas(struct ifreq) char list[kInterfaceListSize];
    struct ifconf ifc;
    memset(&ifc, 0, sizeof ifc);
    ifc.ifc_len = sizeof list;
    ifc.ifc_buf = list;
    int result = -1;
    if (ioctl(fd, SIOCGIFCONF, &ifc) == 0) {
        struct ifreq* records = reinterpret_cast<struct ifreq*>(list);
        int count = ifc.ifc_len / static_cast<int>(sizeof(struct ifreq));
        for (int i = count - 1; i >= 0; --i) {
            if (ioctl(fd, SIOCGIFADDR, &records[i]) != 0)
                continue;
            const struct sockaddr_in* address =
                reinterpret_cast<const struct sockaddr_in*>(&records[i].ifr_addr);
            pavo_format_literal(ipbuffer, static_cast<size_t>(buffersize),
                                inet_ntoa(address->sin_addr));
            result = 0;
            break;
        }
    }
    close(fd);
    return result;
}

int pavo_getip(char* ipbuffer, int buffersize)
{
    if (ipbuffer == nullptr || buffersize < 0)
        return -1;
    pavo_format_literal(ipbuffer, static_cast<size_t>(buffersize), g_pavo_env.ip);
    return 0;
}

}  // extern "C"
