// Child-process control of the platform simulator and temporary working directories for
// the integration tests; see platform_sim.h.
#include "support/platform_sim.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace pavo_test {
namespace {

constexpr std::chrono::seconds kStartBound{10};
constexpr std::chrono::seconds kStopBound{10};

// Reads the first line the child writes, up to the bound; empty on timeout or end of file.
std::string read_first_line(int fd)
{
    const auto deadline = std::chrono::steady_clock::now() + kStartBound;
    std::string line;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return std::string();
        pollfd readable{fd, POLLIN, 0};
        if (poll(&readable, 1, static_cast<int>(left.count())) <= 0)
            continue;
        char c = 0;
        if (read(fd, &c, 1) != 1)
            return std::string();
        if (c == '\n')
            return line;
        line += c;
    }
}

}  // namespace

PlatformSim::PlatformSim(const std::vector<std::string>& extra_args)
{
#if defined(PAVO_SIM_PATH) && defined(PAVO_SIM_DATA)
    std::vector<std::string> args = {PAVO_SIM_PATH, "--port",  "0",      "--data",
                                     PAVO_SIM_DATA, "--clock", kSimClock};
    args.insert(args.end(), extra_args.begin(), extra_args.end());
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe2 failed");
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) {
        close(out[0]);
        close(out[1]);
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        // Only async-signal-safe calls here: the test process may have other threads.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            _exit(126);
        dup2(out[1], STDOUT_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    std::string line = read_first_line(out[0]);
    bool with_backup = false;
    for (const std::string& arg : extra_args)
        with_backup = with_backup || arg == "--backup-port";
    if (with_backup)
        backup_url_ = read_first_line(out[0]);
    close(out[0]);
    const std::string prefix = line.rfind("https:", 0) == 0 ? "https://127.0.0.1:"
                                                            : "http://127.0.0.1:";
    if (line.rfind(prefix, 0) != 0 || (with_backup && backup_url_.rfind(prefix, 0) != 0)) {
        stop();
        throw std::runtime_error("platform simulator did not announce its address");
    }
    base_url_ = line;
    port_ = std::atoi(line.c_str() + prefix.size());
#else
    (void)extra_args;
    throw std::runtime_error("the platform simulator is not built (PAVO_BUILD_TOOLS)");
#endif
}

PlatformSim::~PlatformSim() { stop(); }

int PlatformSim::stop()
{
    if (pid_ <= 0)
        return -1;
    kill(pid_, SIGTERM);
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + kStopBound;
    pid_t done = 0;
    while ((done = waitpid(pid_, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (done == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        status = -1;
    }
    pid_ = -1;
    return status;
}

std::string PlatformSim::control(const char* method, const std::string& path_and_query,
                                 const std::string& body) const
{
    // The control interface checks no certificate: it is the simulator's own.
    httplib::Client client(base_url_);
    client.enable_server_certificate_verification(false);
    client.set_connection_timeout(5);
    client.set_read_timeout(10);
    httplib::Result result = std::string(method) == "GET"
                                 ? client.Get(path_and_query)
                                 : client.Post(path_and_query, body, "application/octet-stream");
    if (!result || result->status != 200)
        throw std::runtime_error("simulator control " + path_and_query + " failed");
    return result->body;
}

std::vector<SimRequest> PlatformSim::requests() const
{
    const std::string text = control("GET", "/_control/requests");
    std::vector<SimRequest> requests;
    size_t at = 0;
    while (at < text.size()) {
        size_t line_end = text.find('\n', at);
        if (line_end == std::string::npos)
            throw std::runtime_error("bad request record");
        const std::string header = text.substr(at, line_end - at);
        size_t first_blank = header.find(' ');
        size_t second_blank = header.find(' ', first_blank + 1);
        if (second_blank == std::string::npos)
            throw std::runtime_error("bad request record");
        size_t path_size = std::stoul(header.substr(first_blank + 1));
        size_t body_size = std::stoul(header.substr(second_blank + 1));
        at = line_end + 1;
        if (at + path_size + 1 + body_size + 1 > text.size())
            throw std::runtime_error("truncated request record");
        SimRequest request{header.substr(0, first_blank), text.substr(at, path_size),
                           text.substr(at + path_size + 1, body_size)};
        requests.push_back(std::move(request));
        at += path_size + 1 + body_size + 1;
    }
    return requests;
}

void PlatformSim::clear_requests() const { control("POST", "/_control/requests/clear"); }

void PlatformSim::set_fault(const std::string& path, int status, int delay_ms, bool close) const
{
    httplib::Params params{{"path", path},
                           {"status", std::to_string(status)},
                           {"delay_ms", std::to_string(delay_ms)},
                           {"close", close ? "1" : "0"}};
    control("POST", httplib::append_query_params("/_control/fault", params));
}

void PlatformSim::clear_faults() const { control("POST", "/_control/faults/clear"); }

void PlatformSim::set_answer(const std::string& path, const std::string& body) const
{
    control("POST", httplib::append_query_params("/_control/answer", {{"path", path}}), body);
}

void PlatformSim::reset() const { control("POST", "/_control/reset"); }

PlatformSim::Connections PlatformSim::connections() const
{
    const std::string text = control("GET", "/_control/connections");
    Connections counts;
    if (std::sscanf(text.c_str(), "connections %ld handshakes %ld", &counts.connections,
                    &counts.handshakes) != 2)
        throw std::runtime_error("bad connection counts");
    return counts;
}

void PlatformSim::set_outage(const std::string& service, const std::string& mode, int seconds,
                             int retry_after) const
{
    httplib::Params params{{"service", service},
                           {"mode", mode},
                           {"seconds", std::to_string(seconds)}};
    if (retry_after >= 0)
        params.emplace("retry_after", std::to_string(retry_after));
    control("POST", httplib::append_query_params("/_control/outage", params));
}

void PlatformSim::clear_outages() const { control("POST", "/_control/outages/clear"); }

void PlatformSim::expire(int code) const
{
    control("POST", "/_control/expire?code=" + std::to_string(code));
}

SimCounts PlatformSim::counts() const
{
    const nlohmann::json json = nlohmann::json::parse(control("GET", "/_control/counts"));
    SimCounts counts;
    for (const auto& [service, pair] : json.at("services").items())
        counts.services[service] = {pair.at("primary").get<long>(),
                                    pair.at("backup").get<long>()};
    for (const auto& [path, number] : json.at("paths").items())
        counts.paths[path] = number.get<long>();
    counts.logins = json.at("logins").get<long>();
    counts.charges = json.at("charges").get<long>();
    counts.recharges = json.at("recharges").get<long>();
    for (const auto& bucket : json.at("per100ms"))
        counts.per100ms_total += bucket.at(1).get<long>();
    return counts;
}

void PlatformSim::clear_counts() const { control("POST", "/_control/counts/clear"); }

void write_korix_conf(const std::string& dir, const ConfEntries& entries)
{
    std::ofstream conf(dir + "/korix.conf", std::ios::binary | std::ios::trunc);
    conf << "[system]\n";
    for (const auto& [key, value] : entries)
        conf << key << "=" << value << "\n";
    if (!conf)
        throw std::runtime_error("cannot write korix.conf in " + dir);
}

SimWorkDir::SimWorkDir(const PlatformSim& sim)
{
    write_korix_conf(path(), {{"openurl", sim.open_url()}, {"logmode", "1"}});
}

int refused_port()
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

}  // namespace pavo_test
