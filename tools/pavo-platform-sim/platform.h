// The simulated service platform behind the HTTP front: maps a request path to a service of
// the table in platform.cpp, runs the shared frame (form parsing, token check, state lock)
// and returns the answer document. Built by main.cpp, called by http_front.cpp.
#pragma once

#include "platform_data.h"
#include "services.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

struct ServiceRow;

class Platform {
public:
    // `fixed_clock` ("YYYY-MM-DD hh:mm:ss") replaces the local time when not empty.
    Platform(PlatformData data, PlatformAddresses addresses, std::string fixed_clock);

    // The answer to a POST on `path`, or nullopt when no service lives there.
    std::optional<std::string> answer(const std::string& path, std::string_view body);

    // Back to the accounts of the data folder: no sessions, no used vouchers, no bindings
    // made by open.
    void reset();

    // Every session now alive ends; a later request with one of their tokens is answered
    // with `code` (the check of the token, not the service, answers).
    void expire(int code);
    PlatformTally tally();
    void clear_tally();
    const PlatformAddresses& addresses() const { return addresses_; }

private:
    std::string clock_text() const;

    const PlatformData data_;
    const PlatformAddresses addresses_;
    const std::string fixed_clock_;
    std::map<std::string, const ServiceRow*> routes_;  // path -> service

    std::mutex mutex_;
    PlatformState state_;
};

}  // namespace sim
