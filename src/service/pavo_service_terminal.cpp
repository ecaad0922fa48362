/*
 * pavo_service_terminal.cpp - the terminal's identity: the identity fields
 * copied from the start-up parameters, the TVID and the terminal profile
 * built from them, and the IP address probe behind pavo_getip. Filled by the
 * lifecycle at start-up; read through the session properties.
 */
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"
#include "service/pavo_service_terminal.h"

namespace {

// Room for 16 interface records of the 32-bit target's 32 bytes each.
constexpr int kInterfaceListSize = 512;

constexpr int kTvidOemLength = 10;
constexpr int kTvidTerminalLength = 10;
constexpr int kTvidDeviceLength = 16;

// Init strings are copied as text: "%%" folds to "%" as it always did, and
// nothing else in them is interpreted.
void copy_init_string(char (&field)[PAVO_PROP_SIZE], const char* value)
{
    if (value != nullptr)
        pavo_format_literal(field, sizeof field, value);
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

}  // namespace

extern "C" {

void pavo_inner_copyidentity(tpavo_env* env_record, const pavo_init_param* param_record)
{
    tpavo_env& env = *env_record;
    const pavo_init_param& param = *param_record;
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
    // Cut silently at the field's size, as every fixed field is.
    PavoText(env.tvprofile, sizeof env.tvprofile)
        .append(env.chipprofile)
        .append(';')
        .append(env.clientprofile)
        .append(';')
        .append(env.korixprofile);
    pavo_log_info("***TVID:%s\r\n", env.tvid);
}

// A shorter string is padded in front, a longer one keeps its beginning;
// both after what the buffer already holds, never past its last byte.
void string_leftpadding(char* buffer, int buffersize, const char* string, int padded_len,
                        const char* pad)
{
    if (buffer == nullptr || buffersize <= 0 || padded_len <= 0)
        return;
    if (pad == nullptr)
        pad = "";
    const size_t size = static_cast<size_t>(buffersize);
    PavoText padded(buffer, size, strnlen(buffer, size));
    size_t padlength = strlen(pad);
    int length = string != nullptr ? static_cast<int>(strlen(string)) : 0;
    if (string != nullptr && length >= padded_len) {
        padded.append(string, static_cast<size_t>(padded_len));
        return;
    }
    for (int i = length; i < padded_len; ++i)
        padded.append(pad, padlength);
    if (string != nullptr)
        padded.append(string, static_cast<size_t>(length));
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
