// What a fleet test steers and reads: outages of a service's primary address (refuse, stall,
// 503) and the request counts per service and address, per path and per 100 ms. Shared by
// the primary and the backup listener of http_front.cpp; thread-safe.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace sim {

enum class OutageMode { kRefuse, kStall, kUnavailable };

struct Outage {
    OutageMode mode = OutageMode::kRefuse;
    int retry_after = -1;  // seconds for Retry-After; -1: no header
    bool forever = true;   // until cleared
    std::chrono::steady_clock::time_point until;
};

// What the platform itself counted, merged into the counts document.
struct PlatformTally {
    long logins = 0;     // successful logins
    long charges = 0;    // recharges that credited an account
    long recharges = 0;  // recharge requests that reached the service
};

// The service whose address a path is posted to, by the names of the login answer's address
// fields ("aaa", "epg", "play", "upgrade", "drm", "img", "ext", "open"); empty for others.
std::string service_of_path(const std::string& path, const std::string& open_path,
                            const std::string& ext_path);
bool is_service_name(const std::string& name);

class FleetState {
public:
    FleetState() : start_(std::chrono::steady_clock::now()) {}

    void set_outage(const std::string& service, const Outage& outage);
    // The outage of the service's primary address now in force, if any.
    std::optional<Outage> outage_for(const std::string& service) const;
    void clear_outages();

    void count(const std::string& service, bool backup, const std::string& path);
    // The JSON document of GET /_control/counts.
    std::string counts_json(const PlatformTally& tally) const;
    void clear_counts();

private:
    struct Pair {
        long primary = 0;
        long backup = 0;
    };
    const std::chrono::steady_clock::time_point start_;
    mutable std::mutex mutex_;
    std::map<std::string, Outage> outages_;
    std::map<std::string, Pair> services_;
    std::map<std::string, long> paths_;
    std::map<long, long> buckets_;  // 100-ms bucket number -> requests
};

}  // namespace sim
