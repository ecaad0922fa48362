// pavo-platform-sim: plays the video platform on 127.0.0.1 for tests, the example
// application and developers of terminal applications. Parses the command line, loads the
// data folder, prints the base address as the first line of standard output (the backup
// listener's as the second, with --backup-port) and serves until SIGTERM or SIGINT.
#include "http_front.h"
#include "platform.h"
#include "platform_data.h"

#include <pthread.h>
#include <signal.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

namespace {

struct Options {
    int port = 0;
    int backup_port = -1;  // -1: no backup listener
    std::string data_dir;
    std::string open_path = "/Open";
    std::string ext_path = "/ExtService";
    std::string clock;
    bool verbose = false;
    sim::ConnectionOptions connections;
};

const char kUsage[] =
    "usage: pavo-platform-sim --data DIR [--port N] [--open-path PATH] [--ext-path PATH]\n"
    "                         [--clock \"YYYY-MM-DD hh:mm:ss\"] [--verbose]\n"
    "                         [--tls CERT KEY] [--connect-delay MS] [--backup-port N]\n"
    "  --port N        port on 127.0.0.1, 0 (the default) picks a free one\n"
    "  --data DIR      data folder: accounts.ini, platform.ini, catalogue.xml, files/\n"
    "  --open-path     path of the account-opening service (default /Open)\n"
    "  --ext-path      path of the extended service (default /ExtService)\n"
    "  --clock         fixed platform time for SystemTime instead of the local time\n"
    "  --verbose       one line per request on standard error\n"
    "  --tls CERT KEY  serve https with this PEM certificate chain and private key\n"
    "  --connect-delay each new connection waits MS milliseconds before its first answer\n"
    "  --backup-port N a second listener, the services' backup address (0: a free port)\n";

bool is_clock_text(const std::string& text)
{
    const std::string shape = "dddd-dd-dd dd:dd:dd";
    if (text.size() != shape.size())
        return false;
    for (size_t i = 0; i < shape.size(); ++i)
        if (shape[i] == 'd' ? (text[i] < '0' || text[i] > '9') : text[i] != shape[i])
            return false;
    return true;
}

bool parse_options(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--verbose") {
            options.verbose = true;
            continue;
        }
        if (i + 1 >= argc)
            return false;
        const std::string value = argv[++i];
        if (name == "--tls") {
            if (i + 1 >= argc)
                return false;
            options.connections.tls_cert = value;
            options.connections.tls_key = argv[++i];
        } else if (name == "--connect-delay") {
            char* end = nullptr;
            long delay = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || delay < 0 || delay > 60000)
                return false;
            options.connections.connect_delay_ms = static_cast<int>(delay);
        } else if (name == "--port" || name == "--backup-port") {
            char* end = nullptr;
            long port = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || port < 0 || port > 65535)
                return false;
            (name == "--port" ? options.port : options.backup_port) = static_cast<int>(port);
        } else if (name == "--data") {
            options.data_dir = value;
        } else if (name == "--open-path" && value.rfind('/', 0) == 0) {
            options.open_path = value;
        } else if (name == "--ext-path" && value.rfind('/', 0) == 0) {
            options.ext_path = value;
        } else if (name == "--clock" && is_clock_text(value)) {
            options.clock = value;
        } else {
            return false;
        }
    }
    return !options.data_dir.empty();
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse_options(argc, argv, options)) {
        std::cerr << kUsage;
        return 2;
    }
    // Blocked before any thread exists, so that only the waiting thread below receives them.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    sigaddset(&stop_signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    std::string error;
    std::optional<sim::PlatformData> data = sim::load_platform_data(options.data_dir, error);
    if (!data) {
        std::cerr << "pavo-platform-sim: " << error << "\n";
        return 1;
    }
    const std::string files_dir = data->files_dir;

    sim::ControlState control;
    sim::FleetState fleet;
    sim::HttpFront front(options.verbose, options.connections, control, fleet, false);
    std::unique_ptr<sim::HttpFront> backup;
    if (options.backup_port >= 0)
        backup = std::make_unique<sim::HttpFront>(options.verbose, options.connections, control,
                                                  fleet, true);
    if (!front.valid() || (backup && !backup->valid())) {
        std::cerr << "pavo-platform-sim: cannot load the TLS certificate or key\n";
        return 1;
    }
    const std::string scheme = front.tls() ? "https" : "http";
    int port = front.bind(options.port);
    if (port < 0) {
        std::cerr << "pavo-platform-sim: cannot bind 127.0.0.1:" << options.port << "\n";
        return 1;
    }
    const std::string base = scheme + "://127.0.0.1:" + std::to_string(port);
    std::string backup_base;
    if (backup) {
        int second_port = backup->bind(options.backup_port);
        if (second_port < 0) {
            std::cerr << "pavo-platform-sim: cannot bind 127.0.0.1:" << options.backup_port
                      << "\n";
            return 1;
        }
        backup_base = scheme + "://127.0.0.1:" + std::to_string(second_port);
    }
    sim::Platform platform(std::move(*data),
                           {base, options.open_path, options.ext_path, backup_base},
                           options.clock);

    std::thread stopper([&] {
        int signal_number = 0;
        sigwait(&stop_signals, &signal_number);
        front.stop();
        if (backup)
            backup->stop();
    });
    std::cout << base << "\n";
    if (backup)
        std::cout << backup_base << "\n";
    std::cout.flush();
    std::thread backup_thread;
    bool backup_served = true;
    if (backup)
        backup_thread = std::thread([&] { backup_served = backup->run(platform, files_dir); });
    bool served = front.run(platform, files_dir);
    // Either listener failing ends both, through the waiting thread.
    if (!served)
        kill(getpid(), SIGTERM);
    if (backup_thread.joinable())
        backup_thread.join();
    if (!backup_served && served) {
        kill(getpid(), SIGTERM);
        served = false;
    }
    stopper.join();
    return served ? 0 : 1;
}
