// Starts the library for a test: one directory serves as the working, perpetual and
// temporary one unless others are named; the texts are only read by the library.
#pragma once

#include <string>

#include "pavo.h"

namespace pavo_test {

inline pavo_status_t start_library(const std::string& dir, const char* oem, const char* terminal,
                                   const char* device, const char* chip, const char* client,
                                   int ipversion = 4, const char* perpetual = nullptr,
                                   const char* tmp = nullptr)
{
    pavo_init_param param{};
    param.oem_name = const_cast<char*>(oem);
    param.terminal_type = const_cast<char*>(terminal);
    param.device_id = const_cast<char*>(device);
    param.chipprofile = const_cast<char*>(chip);
    param.clientprofile = const_cast<char*>(client);
    param.workdirectory = const_cast<char*>(dir.c_str());
    param.perpetualdirectory = const_cast<char*>(perpetual != nullptr ? perpetual : dir.c_str());
    param.tmpdirectory = const_cast<char*>(tmp != nullptr ? tmp : dir.c_str());
    param.ipversion = ipversion;
    return pavo_init(&param);
}

}  // namespace pavo_test
