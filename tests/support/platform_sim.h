// Test support for the platform simulator (tools/pavo-platform-sim): starts it as a child
// process on a free loopback port, drives its control interface, stops it; and prepares
// temporary working directories with a korix.conf. Used by the integration tests.
#pragma once

#include "support/temp_dir.h"

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace pavo_test {

// The terminal identity that the simulator's data folder knows (tools/simdata).
inline constexpr const char* kSimOem = "PAVO";
inline constexpr const char* kSimTerminalType = "STB100";
inline constexpr const char* kSimDevice = "SIM0000001";
inline constexpr const char* kSimTvid = "000000PAVO0000STB100V4000000SIM0000001";
inline constexpr const char* kSimUserId = "u1001";
inline constexpr const char* kSimUserCard = "8860000000001001";
// The fixed platform time that PlatformSim gives the simulator, as sent in "SystemTime".
inline constexpr const char* kSimClock = "2026-01-02 03:04:05";

struct SimRequest {
    std::string method;
    std::string path;
    std::string body;
};

// What GET /_control/counts reports.
struct SimCounts {
    struct Pair {
        long primary = 0;
        long backup = 0;
    };
    std::map<std::string, Pair> services;
    std::map<std::string, long> paths;
    long logins = 0;
    long charges = 0;
    long recharges = 0;
    long per100ms_total = 0;  // the buckets summed
};

class PlatformSim {
public:
    // Starts the simulator on port 0 with the data folder of the source tree, a fixed clock
    // (kSimClock) and `extra_args` appended. Throws std::runtime_error when it does not announce
    // its address within ten seconds. Create it on a thread that outlives it: the simulator is
    // told to stop when the thread that started it ends.
    explicit PlatformSim(const std::vector<std::string>& extra_args = {});
    ~PlatformSim();
    PlatformSim(const PlatformSim&) = delete;
    PlatformSim& operator=(const PlatformSim&) = delete;

    // "http://127.0.0.1:<port>" ("https://" with --tls), the first line the simulator printed.
    const std::string& base_url() const { return base_url_; }
    // The backup listener's base (the second line), with "--backup-port" among the arguments.
    const std::string& backup_url() const { return backup_url_; }
    // The "openurl" of a terminal using this simulator (default open path).
    std::string open_url() const { return base_url_ + "/Open"; }

    // Every request except the control ones, in arrival order, bodies byte for byte.
    std::vector<SimRequest> requests() const;
    void clear_requests() const;
    // Every later request of `path`: wait delay_ms, then close the connection without an
    // answer (close), or answer with HTTP `status`, or answer normally (status 0).
    void set_fault(const std::string& path, int status, int delay_ms = 0,
                   bool close = false) const;
    void clear_faults() const;
    // The next answer on `path` is `body` instead of the platform's (queued, first in first out).
    void set_answer(const std::string& path, const std::string& body) const;
    // Requests, faults and queued answers cleared; accounts and sessions as at start.
    void reset() const;
    // Connections accepted and TLS handshakes completed since start, the reading's own
    // connection included.
    struct Connections {
        long connections = 0;
        long handshakes = 0;
    };
    Connections connections() const;

    // The primary address of `service` ("aaa", "epg", ...) fails in `mode` ("refuse",
    // "stall", "503") for `seconds` (0: until cleared); retry_after < 0 sends none.
    void set_outage(const std::string& service, const std::string& mode, int seconds = 0,
                    int retry_after = -1) const;
    void clear_outages() const;
    // Every live session ends; its token is answered with `code` from now on.
    void expire(int code) const;
    SimCounts counts() const;
    void clear_counts() const;

    // SIGTERM and wait (bounded; SIGKILL after ten seconds). Returns the wait status, or -1
    // when already stopped. Called by the destructor.
    int stop();

private:
    std::string control(const char* method, const std::string& path_and_query,
                        const std::string& body = "") const;

    pid_t pid_ = -1;
    int port_ = 0;
    std::string base_url_;
    std::string backup_url_;
};

using ConfEntries = std::vector<std::pair<std::string, std::string>>;

// Writes `dir`/korix.conf: "[system]" and one "key=value" line per entry, in order. The
// library matches keys by prefix, so list "aaasrvaddress2" before "aaasrvaddress".
void write_korix_conf(const std::string& dir, const ConfEntries& entries);

// A loopback port that refuses connections: bound, never listened on, closed.
int refused_port();

// A temporary working directory whose korix.conf points "openurl" at the simulator, with
// console logging.
class SimWorkDir : public ::TempDir {
public:
    explicit SimWorkDir(const PlatformSim& sim);
};

}  // namespace pavo_test
