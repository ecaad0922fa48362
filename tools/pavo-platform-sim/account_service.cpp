// Account services: open, login, logout and recharge, with the authenticator checks that
// bind a subscriber to a terminal. Called through the service table of platform.cpp.
#include "authenticator.h"
#include "services.h"
#include "text.h"

#include <cstdlib>

namespace sim {
namespace {

// Open binds the requesting terminal to the account; login and the later account
// requests must come from that terminal.
enum OpenMode { kOpenByCard = 1, kOpenByTerminal = 2 };

// The platform signs its answers the way terminals sign requests, under the user's key.
std::string server_authenticator(ServiceCall& call, const AccountData& account,
                                 std::string_view key_seed)
{
    const std::string timestamp = digits_of(call.clock);
    std::string source = std::to_string(++call.state.serial % 100000000) + "$" + account.user_id +
                         "$" + account.tvid + "$127.0.0.1$$" + timestamp + "$Korix";
    return write_authenticator(source, key_seed);
}

// The "Authenticator" field of a login, logout or recharge: enciphered under the user id,
// naming that user and the terminal bound to the account.
std::optional<AuthenticatorSource> check_user_authenticator(const ServiceCall& call,
                                                            const AccountData& account,
                                                            Outcome& failure)
{
    std::optional<AuthenticatorSource> source =
        read_authenticator(call.form.text("Authenticator"), account.user_id);
    if (!source)
        failure = kBadAuthenticator;
    else if (source->user_id != account.user_id)
        failure = kUserMismatch;
    else if (account.tvid.empty() || source->tvid != account.tvid)
        failure = kTerminalMismatch;
    else
        return source;
    return std::nullopt;
}

AccountData* find_account(PlatformState& state, int mode, const std::string& key)
{
    for (auto& [user_id, account] : state.accounts) {
        if (mode == kOpenByCard && !account.card.empty() && account.card == key)
            return &account;
        if (mode == kOpenByTerminal && !account.tvid.empty() && account.tvid == key)
            return &account;
    }
    return nullptr;
}

// Recharge parameter: a voucher code of the data folder (once each), or a number of points.
int recharge_points(ServiceCall& call, const std::string& parameter)
{
    auto voucher = call.data.vouchers.find(parameter);
    if (voucher != call.data.vouchers.end())
        return call.state.used_vouchers.insert(parameter).second ? voucher->second : 0;
    if (parameter.empty() || parameter.size() > 6)
        return 0;
    for (char c : parameter)
        if (c < '0' || c > '9')
            return 0;
    return std::atoi(parameter.c_str());
}

}  // namespace

std::string handle_open(ServiceCall& call)
{
    const int mode = call.form.number("OpenMode");
    const std::string open_param = call.form.text("OpenParam");
    const std::string tvid = call.form.text("TVID");
    if (mode != kOpenByCard && mode != kOpenByTerminal)
        return answer_document(kBadOpenMode);

    std::optional<AuthenticatorSource> source =
        read_authenticator(call.form.text("Authenticator"), kOpenKeySeed);
    if (!source)
        return answer_document(kBadAuthenticator);
    if (source->user_id != open_param)
        return answer_document(kUserMismatch);
    if (source->tvid != tvid)
        return answer_document(kTerminalMismatch);

    AccountData* account = find_account(call.state, mode, open_param);
    if (!account)
        return answer_document(kUnknownAccount);
    if (!account->tvid.empty() && account->tvid != tvid)
        return answer_document(kTerminalMismatch);
    account->tvid = tvid;

    return answer_document(
        kSuccess, {response_element({
                      {"ServerAuthenticator", server_authenticator(call, *account, kOpenKeySeed)},
                      {"UserID", account->user_id},
                      {"NickName", account->nickname},
                      {"AccountDesc", account->description},
                      {"AAASrvAddress", call.addresses.base},
                      {"AAASrvAddress2", call.addresses.second()},
                  })});
}

std::string handle_login(ServiceCall& call)
{
    auto found = call.state.accounts.find(call.form.text("UserID"));
    if (found == call.state.accounts.end())
        return answer_document(kUnknownAccount);
    AccountData& account = found->second;
    Outcome failure = kSuccess;
    if (!check_user_authenticator(call, account, failure))
        return answer_document(failure);

    std::string token = sha1_hex(account.user_id + "#" + std::to_string(++call.state.serial));
    token.resize(32);
    call.state.sessions[token] = account.user_id;

    ++call.state.tally.logins;
    const std::string& base = call.addresses.base;
    const std::string& second = call.addresses.second();
    return answer_document(kSuccess, {response_element({
                                         {"ServerAuthenticator",
                                          server_authenticator(call, account, account.user_id)},
                                         {"UserToken", token},
                                         {"UserID", account.user_id},
                                         {"UserGroup", account.group},
                                         {"UserLevel", account.level},
                                         {"ValidPoints", std::to_string(account.points)},
                                         {"ActExpiredDate", account.expires},
                                         {"AAASrvAddress", base},
                                         {"AAASrvAddress2", second},
                                         {"EpgSrvAddress", base},
                                         {"EpgSrvAddress2", second},
                                         {"PlaySrvAddress", base},
                                         {"PlaySrvAddress2", second},
                                         {"UpgradeSrvAddress", base},
                                         {"UpgradeSrvAddress2", second},
                                         {"IMGSrvAddress", base + "/files"},
                                         {"ServiceAddress", base + call.addresses.ext_path},
                                         {"DRMSrvAddress", base + "/DRM"},
                                         {"DRMSrvAddress2", second + "/DRM"},
                                         {"SystemTime", call.clock},
                                     })});
}

std::string handle_logout(ServiceCall& call)
{
    Outcome failure = kSuccess;
    if (!check_user_authenticator(call, *call.account, failure))
        return answer_document(failure);
    call.state.sessions.erase(call.form.text("UserToken"));
    return answer_document(kSuccess, {response_element({})});
}

std::string handle_recharge(ServiceCall& call)
{
    Outcome failure = kSuccess;
    std::optional<AuthenticatorSource> source =
        check_user_authenticator(call, *call.account, failure);
    if (!source)
        return answer_document(failure);
    // The terminal sends its recharge parameter only inside the authenticator, as the
    // business field; "ChargeType" is recorded but every type is handled alike.
    int points = recharge_points(call, source->bizfield);
    if (points <= 0)
        return answer_document(kBadRecharge);
    call.account->points += points;
    ++call.state.tally.charges;
    return answer_document(kSuccess,
                           {response_element({
                               {"ServerAuthenticator",
                                server_authenticator(call, *call.account, call.account->user_id)},
                               {"ValidPoints", std::to_string(call.account->points)},
                               {"ActExpiredDate", call.account->expires},
                           })});
}

}  // namespace sim
