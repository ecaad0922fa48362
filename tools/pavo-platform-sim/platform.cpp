// The service table and the frame every service runs in; see platform.h. A new service is
// one row here and one handler in the file of its concern.
#include "platform.h"

#include <ctime>

namespace sim {

enum class Mount { kService, kOpenPath, kExtPath };
enum class Access { kAnyone, kSession };

struct ServiceRow {
    const char* name;
    Mount mount;
    Access access;
    ServiceHandler handle;
};

namespace {

// The status report is accepted without a token check: terminals report also with a stale
// session, and the terminal never reads the answer.
const ServiceRow kServices[] = {
    {"Open", Mount::kOpenPath, Access::kAnyone, handle_open},
    {"Login", Mount::kService, Access::kAnyone, handle_login},
    {"Logout", Mount::kService, Access::kSession, handle_logout},
    {"Recharge", Mount::kService, Access::kSession, handle_recharge},
    {"QueryCategory", Mount::kService, Access::kSession, handle_query_category},
    {"QueryProgramee", Mount::kService, Access::kSession, handle_query_programee},
    {"QueryRelative", Mount::kService, Access::kSession, handle_query_relative},
    {"QueryDetail", Mount::kService, Access::kSession, handle_query_detail},
    {"QuerySchedule", Mount::kService, Access::kSession, handle_query_schedule},
    {"Play", Mount::kService, Access::kSession, handle_play},
    {"UpgradeOS", Mount::kService, Access::kSession, handle_upgrade_os},
    {"UpgradeRes", Mount::kService, Access::kSession, handle_upgrade_res},
    {"Report", Mount::kService, Access::kAnyone, handle_report},
    {"ExtService", Mount::kExtPath, Access::kSession, handle_extended_service},
};

std::string mount_path(const ServiceRow& row, const PlatformAddresses& addresses)
{
    switch (row.mount) {
    case Mount::kOpenPath:
        return addresses.open_path;
    case Mount::kExtPath:
        return addresses.ext_path;
    case Mount::kService:
        break;
    }
    return std::string("/Service/") + row.name;
}

PlatformState initial_state(const PlatformData& data)
{
    PlatformState state;
    for (const AccountData& account : data.accounts)
        state.accounts[account.user_id] = account;
    return state;
}

}  // namespace

Platform::Platform(PlatformData data, PlatformAddresses addresses, std::string fixed_clock)
    : data_(std::move(data)), addresses_(std::move(addresses)),
      fixed_clock_(std::move(fixed_clock)), state_(initial_state(data_))
{
    for (const ServiceRow& row : kServices)
        routes_[mount_path(row, addresses_)] = &row;
}

std::optional<std::string> Platform::answer(const std::string& path, std::string_view body)
{
    auto route = routes_.find(path);
    if (route == routes_.end())
        return std::nullopt;
    const ServiceRow& row = *route->second;
    const Form form = Form::parse(body);
    const std::string clock = clock_text();

    std::lock_guard<std::mutex> lock(mutex_);
    ServiceCall call{form, data_, addresses_, clock, state_, nullptr};
    if (row.handle == handle_recharge)
        ++state_.tally.recharges;
    if (row.access == Access::kSession) {
        const std::string token = form.text("UserToken");
        auto session = state_.sessions.find(token);
        if (session == state_.sessions.end() || session->second != form.text("UserID")) {
            auto expired = state_.expired.find(token);
            if (expired != state_.expired.end())
                return answer_document({expired->second, "session expired"});
            return answer_document(kInvalidToken);
        }
        call.account = &state_.accounts.at(session->second);
    }
    return row.handle(call);
}

void Platform::reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    // The serial survives so that no token of before the reset becomes valid again.
    unsigned long serial = state_.serial;
    state_ = initial_state(data_);
    state_.serial = serial;
}

void Platform::expire(int code)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [token, user_id] : state_.sessions)
        state_.expired[token] = code;
    state_.sessions.clear();
}

PlatformTally Platform::tally()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return state_.tally;
}

void Platform::clear_tally()
{
    std::lock_guard<std::mutex> lock(mutex_);
    state_.tally = PlatformTally{};
}

std::string Platform::clock_text() const
{
    if (!fixed_clock_.empty())
        return fixed_clock_;
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

}  // namespace sim
