// HTTP front of the simulator; see http_front.h. Request order for a path outside the
// control interface: record, count, outage (primary only), fault, queued answer, platform
// service, file, 404.
#include "http_front.h"

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>

namespace sim {
namespace {

constexpr const char* kXmlType = "text/xml; charset=UTF-8";
constexpr const char* kTextType = "text/plain";

bool starts_with(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

int socket_port(const sockaddr_storage& address)
{
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return -1;
}

// cpp-httplib gives a handler no socket, so the connection is found among the process's
// descriptors by its two ports and shut down; the client then sees the connection end
// without a status line, and the server's own late write fails quietly (SIGPIPE is ignored).
// Only getsockname and getpeername touch the other descriptors (they fail on non-sockets):
// they leave descriptors that other threads are closing alone.
void close_without_answer(const httplib::Request& request)
{
    DIR* descriptors = opendir("/proc/self/fd");
    if (!descriptors)
        return;
    while (dirent* entry = readdir(descriptors)) {
        int fd = std::atoi(entry->d_name);
        if (fd <= 2 || fd == dirfd(descriptors))
            continue;
        sockaddr_storage local{};
        sockaddr_storage peer{};
        socklen_t local_size = sizeof local;
        socklen_t peer_size = sizeof peer;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &local_size) != 0 ||
            getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peer_size) != 0)
            continue;
        if (socket_port(local) == request.local_port &&
            socket_port(peer) == request.remote_port) {
            shutdown(fd, SHUT_RDWR);
            break;
        }
    }
    closedir(descriptors);
}

// A file name under files/: one plain path component.
bool is_plain_file_name(const std::string& name)
{
    return !name.empty() && name[0] != '.' && name.find('/') == std::string::npos;
}

bool parse_number(const std::string& text, int low, int high, int& value)
{
    if (text.empty()) {
        value = 0;
        return low <= 0;
    }
    char* end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || parsed < low || parsed > high)
        return false;
    value = static_cast<int>(parsed);
    return true;
}

void answer_text(httplib::Response& response, int status, const std::string& text)
{
    response.status = status;
    response.set_content(text, kTextType);
}

}  // namespace

HttpFront::HttpFront(bool verbose, const ConnectionOptions& connections, ControlState& control,
                     FleetState& fleet, bool backup)
    : owned_server_(make_server(connections, counts_)), server_(*owned_server_),
      tls_(!connections.tls_cert.empty()), control_(control), fleet_(fleet), backup_(backup)
{
    // Connections stay open for reuse; an idle one is closed after a second, which also
    // bounds how long it can hold up shutdown.
    server_.set_keep_alive_max_count(100000);
    server_.set_keep_alive_timeout(1);
    server_.set_read_timeout(5);
    if (verbose)
        server_.set_logger(
            [](const httplib::Request& request, const httplib::Response& response) {
                std::cerr << request.method << " " << request.path << " -> " << response.status
                          << " (" << response.body.size() << " bytes)\n";
            });
    server_.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
        serve(request, response, request.body);
        reshape(request, response);
    });
    server_.Post(".*", [this](const httplib::Request& request, httplib::Response& response,
                              const httplib::ContentReader& read_content) {
        std::string body;
        if (request.is_multipart_form_data()) {
            control_.record({request.method, request.path, body});
            answer_text(response, 415, "multipart bodies are not accepted\n");
            return;
        }
        // A POST without Content-Length reads as a failure with status 400 preset; such a
        // request is served with the body that arrived, like any other.
        read_content([&body](const char* data, size_t length) {
            body.append(data, length);
            return true;
        });
        response.status = 200;
        serve(request, response, body);
        reshape(request, response);
    });
}

int HttpFront::bind(int port)
{
    if (port == 0)
        return server_.bind_to_any_port("127.0.0.1");
    return server_.bind_to_port("127.0.0.1", port) ? port : -1;
}

bool HttpFront::run(Platform& platform, const std::string& files_dir)
{
    platform_ = &platform;
    files_dir_ = files_dir;
    bool served = server_.listen_after_bind();
    std::lock_guard<std::mutex> lock(stop_mutex_);
    finished_ = true;
    stop_changed_.notify_all();
    return served;
}

void HttpFront::stop()
{
    std::unique_lock<std::mutex> lock(stop_mutex_);
    stopping_ = true;
    stop_changed_.notify_all();
    // A stop that comes before the server has started listening is lost by the server, so
    // it is repeated until run() has returned.
    while (!finished_) {
        server_.stop();
        stop_changed_.wait_for(lock, std::chrono::milliseconds(20));
    }
}

bool HttpFront::wait_delay(int delay_ms)
{
    std::unique_lock<std::mutex> lock(stop_mutex_);
    return !stop_changed_.wait_for(lock, std::chrono::milliseconds(delay_ms),
                                   [this] { return stopping_; });
}

void HttpFront::serve(const httplib::Request& request, httplib::Response& response,
                      const std::string& body)
{
    if (starts_with(request.path, "/_control/")) {
        serve_control(request, response, body);
        return;
    }
    control_.record({request.method, request.path, body});
    const PlatformAddresses& addresses = platform_->addresses();
    const std::string service =
        service_of_path(request.path, addresses.open_path, addresses.ext_path);
    fleet_.count(service, backup_, request.path);
    if (!backup_ && play_outage(request, response, service))
        return;

    if (std::optional<Fault> fault = control_.fault_for(request.path)) {
        if (fault->delay_ms > 0 && !wait_delay(fault->delay_ms)) {
            answer_text(response, 503, "simulator stopping\n");
            return;
        }
        if (fault->close) {
            close_without_answer(request);
            return;
        }
        if (fault->status != 0) {
            answer_text(response, fault->status, "simulated fault\n");
            return;
        }
    }
    if (std::optional<std::string> queued = control_.take_answer(request.path)) {
        response.set_content(*queued, kXmlType);
        return;
    }
    if (request.method == "POST")
        if (std::optional<std::string> answer = platform_->answer(request.path, body)) {
            response.set_content(*answer, kXmlType);
            return;
        }
    if (starts_with(request.path, "/files/")) {
        serve_file(request, response);
        return;
    }
    answer_text(response, 404, "not found\n");
}

bool HttpFront::play_outage(const httplib::Request& request, httplib::Response& response,
                            const std::string& service)
{
    std::optional<Outage> outage = fleet_.outage_for(service);
    if (!outage)
        return false;
    switch (outage->mode) {
    case OutageMode::kUnavailable:
        answer_text(response, 503, "simulated outage\n");
        if (outage->retry_after >= 0)
            response.set_header("Retry-After", std::to_string(outage->retry_after));
        return true;
    case OutageMode::kStall:
        // No byte until the outage ends (or the simulator stops); then the connection
        // ends without an answer, as a hung server's would.
        while (fleet_.outage_for(service) && wait_delay(50)) {
        }
        break;
    case OutageMode::kRefuse:
        break;
    }
    close_without_answer(request);
    return true;
}

void HttpFront::reshape(const httplib::Request& request, httplib::Response& response)
{
    if (starts_with(request.path, "/_control/"))
        return;
    std::optional<Fault> fault = control_.fault_for(request.path);
    if (fault && !fault->body.kind.empty())
        apply_body_fault(fault->body, response, [this](int ms) { return wait_delay(ms); });
}

void HttpFront::serve_file(const httplib::Request& request, httplib::Response& response)
{
    const std::string name = request.path.substr(std::string("/files/").size());
    std::optional<std::string> bytes;
    if (is_plain_file_name(name))
        bytes = read_whole_file(files_dir_ + "/" + name);
    if (!bytes) {
        answer_text(response, 404, "no such file\n");
        return;
    }
    response.set_content(*bytes, "application/octet-stream");
}

void HttpFront::serve_control(const httplib::Request& request, httplib::Response& response,
                              const std::string& body)
{
    // An action returns the answer text, or nullopt for bad parameters.
    using Action = std::function<std::optional<std::string>()>;
    struct ControlRow {
        const char* method;
        const char* path;
        Action act;
    };
    const std::string ok = "ok\n";
    const ControlRow rows[] = {
        {"GET", "/_control/requests", [&] { return std::optional(control_.recorded_text()); }},
        {"GET", "/_control/connections",
         [&] {
             return std::optional("connections " + std::to_string(counts_.connections) +
                                  "\nhandshakes " + std::to_string(counts_.handshakes) +
                                  "\nresumed " + std::to_string(counts_.resumed) + "\n");
         }},
        {"POST", "/_control/requests/clear",
         [&] {
             control_.clear_requests();
             return std::optional(ok);
         }},
        {"POST", "/_control/fault",
         [&]() -> std::optional<std::string> {
             Fault fault;
             const std::string path = request.get_param_value("path");
             const std::string close = request.get_param_value("close");
             if (path.empty() ||
                 !parse_number(request.get_param_value("status"), 0, 599, fault.status) ||
                 !parse_number(request.get_param_value("delay_ms"), 0, 600000, fault.delay_ms) ||
                 (fault.status != 0 && fault.status < 100) ||
                 !read_body_fault(request, fault.body))
                 return std::nullopt;
             fault.close = close == "1" || close == "true";
             control_.set_fault(path, fault);
             return ok;
         }},
        {"POST", "/_control/faults/clear",
         [&] {
             control_.clear_faults();
             return std::optional(ok);
         }},
        {"POST", "/_control/answer",
         [&]() -> std::optional<std::string> {
             const std::string path = request.get_param_value("path");
             if (path.empty())
                 return std::nullopt;
             control_.push_answer(path, body);
             return ok;
         }},
        {"POST", "/_control/answers/clear",
         [&] {
             control_.clear_answers();
             return std::optional(ok);
         }},
        {"POST", "/_control/outage",
         [&]() -> std::optional<std::string> {
             const std::string service = request.get_param_value("service");
             const std::string mode = request.get_param_value("mode");
             const std::string retry_after = request.get_param_value("retry_after");
             Outage outage;
             int seconds = 0;
             if (!is_service_name(service) ||
                 !parse_number(request.get_param_value("seconds"), 0, 86400, seconds) ||
                 (!retry_after.empty() &&
                  !parse_number(retry_after, 0, 86400, outage.retry_after)))
                 return std::nullopt;
             if (mode == "refuse")
                 outage.mode = OutageMode::kRefuse;
             else if (mode == "stall")
                 outage.mode = OutageMode::kStall;
             else if (mode == "503")
                 outage.mode = OutageMode::kUnavailable;
             else
                 return std::nullopt;
             outage.forever = seconds == 0;
             outage.until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
             fleet_.set_outage(service, outage);
             return ok;
         }},
        {"POST", "/_control/outages/clear",
         [&] {
             fleet_.clear_outages();
             return std::optional(ok);
         }},
        {"POST", "/_control/expire",
         [&]() -> std::optional<std::string> {
             int code = -101;
             const std::string text = request.get_param_value("code");
             if (!text.empty() && !parse_number(text, -999999, 999999, code))
                 return std::nullopt;
             platform_->expire(code);
             return ok;
         }},
        {"GET", "/_control/counts",
         [&] { return std::optional(fleet_.counts_json(platform_->tally())); }},
        {"POST", "/_control/counts/clear",
         [&] {
             fleet_.clear_counts();
             platform_->clear_tally();
             return std::optional(ok);
         }},
        {"POST", "/_control/reset",
         [&] {
             control_.clear_requests();
             control_.clear_faults();
             control_.clear_answers();
             fleet_.clear_outages();
             fleet_.clear_counts();
             platform_->reset();
             return std::optional(ok);
         }},
    };
    for (const ControlRow& row : rows) {
        if (request.path != row.path)
            continue;
        if (request.method != row.method) {
            answer_text(response, 405, std::string("use ") + row.method + "\n");
            return;
        }
        std::optional<std::string> text = row.act();
        if (text)
            response.set_content(*text, "application/octet-stream");
        else
            answer_text(response, 400, "bad parameters\n");
        return;
    }
    answer_text(response, 404, "no such control\n");
}

}  // namespace sim
