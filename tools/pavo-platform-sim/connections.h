// How the simulator accepts connections: the server object (plain, or TLS over OpenSSL with
// `--tls`), a count of accepted connections and TLS handshakes for the control interface,
// and the `--connect-delay` that plays a long round trip on loopback. Used by http_front.cpp.
#pragma once

#include <httplib.h>

#include <atomic>
#include <memory>
#include <string>

namespace sim {

struct ConnectionOptions {
    std::string tls_cert;  // PEM chain and key; both empty: plain HTTP
    std::string tls_key;
    int connect_delay_ms = 0;
};

struct ConnectionCounts {
    std::atomic<long> connections{0};
    std::atomic<long> handshakes{0};  // completed, fresh or resumed
    std::atomic<long> resumed{0};
};

// The server, its task queue counting and delaying each accepted connection; null when the
// certificate or key cannot be loaded. `counts` must outlive the server.
std::unique_ptr<httplib::Server> make_server(const ConnectionOptions& options,
                                             ConnectionCounts& counts);

}  // namespace sim
