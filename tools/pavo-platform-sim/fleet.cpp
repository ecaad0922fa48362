// Outages and request counts of the control interface; see fleet.h.
#include "fleet.h"

#include <cstdio>

namespace sim {
namespace {

// A long run keeps at most this many 100-ms buckets (about three hours); the oldest go first.
constexpr size_t kMaxBuckets = 100000;
// Distinct paths counted; anything beyond is counted under one name, since paths come
// from the clients.
constexpr size_t kMaxPaths = 1000;

struct PathService {
    const char* path;
    const char* service;
};

const PathService kPathServices[] = {
    {"/Service/Login", "aaa"},          {"/Service/Logout", "aaa"},
    {"/Service/Recharge", "aaa"},       {"/Service/QueryCategory", "epg"},
    {"/Service/QueryProgramee", "epg"}, {"/Service/QueryRelative", "epg"},
    {"/Service/QueryDetail", "epg"},    {"/Service/QuerySchedule", "epg"},
    {"/Service/Play", "play"},          {"/Service/UpgradeOS", "upgrade"},
    {"/Service/UpgradeRes", "upgrade"}, {"/Service/Report", "upgrade"},
};

const char* const kServiceNames[] = {"aaa", "epg", "play", "upgrade",
                                     "drm", "img", "ext",  "open"};

bool starts_with(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

void append_json_text(std::string& out, const std::string& text)
{
    out += '"';
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += '"';
}

}  // namespace

std::string service_of_path(const std::string& path, const std::string& open_path,
                            const std::string& ext_path)
{
    if (path == open_path)
        return "open";
    if (path == ext_path)
        return "ext";
    for (const PathService& row : kPathServices)
        if (path == row.path)
            return row.service;
    if (starts_with(path, "/DRM"))
        return "drm";
    if (starts_with(path, "/files/"))
        return "img";
    return std::string();
}

bool is_service_name(const std::string& name)
{
    for (const char* known : kServiceNames)
        if (name == known)
            return true;
    return false;
}

void FleetState::set_outage(const std::string& service, const Outage& outage)
{
    std::lock_guard<std::mutex> lock(mutex_);
    outages_[service] = outage;
}

std::optional<Outage> FleetState::outage_for(const std::string& service) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = outages_.find(service);
    if (found == outages_.end())
        return std::nullopt;
    if (!found->second.forever && std::chrono::steady_clock::now() >= found->second.until)
        return std::nullopt;
    return found->second;
}

void FleetState::clear_outages()
{
    std::lock_guard<std::mutex> lock(mutex_);
    outages_.clear();
}

void FleetState::count(const std::string& service, bool backup, const std::string& path)
{
    const long bucket = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                              std::chrono::steady_clock::now() - start_)
                                              .count() /
                                          100);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!service.empty())
        ++(backup ? services_[service].backup : services_[service].primary);
    if (paths_.size() < kMaxPaths || paths_.count(path))
        ++paths_[path];
    else
        ++paths_["(other)"];
    ++buckets_[bucket];
    if (buckets_.size() > kMaxBuckets)
        buckets_.erase(buckets_.begin());
}

std::string FleetState::counts_json(const PlatformTally& tally) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::string out = "{\"services\": {";
    const char* separator = "";
    for (const auto& [service, pair] : services_) {
        out += separator;
        append_json_text(out, service);
        out += ": {\"primary\": " + std::to_string(pair.primary) +
               ", \"backup\": " + std::to_string(pair.backup) + "}";
        separator = ", ";
    }
    out += "}, \"paths\": {";
    separator = "";
    for (const auto& [path, number] : paths_) {
        out += separator;
        append_json_text(out, path);
        out += ": " + std::to_string(number);
        separator = ", ";
    }
    out += "}, \"logins\": " + std::to_string(tally.logins) +
           ", \"charges\": " + std::to_string(tally.charges) +
           ", \"recharges\": " + std::to_string(tally.recharges) + ", \"per100ms\": [";
    separator = "";
    for (const auto& [bucket, number] : buckets_) {
        out += separator;
        out += "[" + std::to_string(bucket * 100) + ", " + std::to_string(number) + "]";
        separator = ", ";
    }
    out += "]}\n";
    return out;
}

void FleetState::clear_counts()
{
    std::lock_guard<std::mutex> lock(mutex_);
    services_.clear();
    paths_.clear();
    buckets_.clear();
}

}  // namespace sim
