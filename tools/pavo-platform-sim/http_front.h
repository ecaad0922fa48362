// The HTTP side of the simulator: one cpp-httplib server on 127.0.0.1 that records every
// request, applies outages, faults and queued answers, hands service posts to the Platform,
// serves files/ and answers the control interface. main.cpp runs one for the primary address
// and, with --backup-port, one for the backup; both share the platform and the control state.
#pragma once

#include "connections.h"
#include "control.h"
#include "fleet.h"
#include "platform.h"

#include <httplib.h>

#include <condition_variable>
#include <mutex>
#include <string>

namespace sim {

class HttpFront {
public:
    // `backup`: this listener is the backup address, which outages leave alone.
    HttpFront(bool verbose, const ConnectionOptions& connections, ControlState& control,
              FleetState& fleet, bool backup);
    // False when the TLS certificate or key could not be loaded.
    bool valid() const { return server_.is_valid(); }
    bool tls() const { return tls_; }

    // Binds 127.0.0.1:`port` (0 picks a free port); the bound port, or -1.
    int bind(int port);
    // Serves until stop(); false when the server could not run.
    bool run(Platform& platform, const std::string& files_dir);
    // From any thread, also before run() has started listening.
    void stop();

private:
    void serve(const httplib::Request& request, httplib::Response& response,
               const std::string& body);
    void serve_control(const httplib::Request& request, httplib::Response& response,
                       const std::string& body);
    // Applies the path's answer-shape fault, if any, to the answer built by serve().
    void reshape(const httplib::Request& request, httplib::Response& response);
    void serve_file(const httplib::Request& request, httplib::Response& response);
    // Waits out a fault's delay; false when the simulator stops meanwhile.
    bool wait_delay(int delay_ms);
    // Plays the outage of the request's service on the primary address; false when none.
    bool play_outage(const httplib::Request& request, httplib::Response& response,
                     const std::string& service);

    ConnectionCounts counts_;
    std::unique_ptr<httplib::Server> owned_server_;
    httplib::Server& server_;
    bool tls_;
    ControlState& control_;
    FleetState& fleet_;
    const bool backup_;
    Platform* platform_ = nullptr;
    std::string files_dir_;

    std::mutex stop_mutex_;
    std::condition_variable stop_changed_;
    bool stopping_ = false;
    bool finished_ = false;
};

}  // namespace sim
