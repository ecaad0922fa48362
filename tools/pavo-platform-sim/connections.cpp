// Server construction, connection counting and the connect delay; see connections.h.
#include "connections.h"

#include <openssl/ssl.h>

#include <chrono>
#include <thread>

namespace sim {
namespace {

// Every kept-alive connection holds a thread while it waits for its next request; the
// library keeps up to four (three workers and the caller), tests and tools a few more.
constexpr size_t kConnectionThreads = 32;

// cpp-httplib hands each accepted connection to the task queue exactly once, so the queue
// is where connections are counted and where a new one waits before its first answer.
class CountingQueue : public httplib::TaskQueue {
public:
    CountingQueue(ConnectionCounts& counts, int delay_ms)
        : counts_(counts), delay_ms_(delay_ms), pool_(kConnectionThreads)
    {
    }

    void enqueue(std::function<void()> serve_connection) override
    {
        counts_.connections.fetch_add(1);
        pool_.enqueue([delay_ms = delay_ms_, serve_connection = std::move(serve_connection)] {
            if (delay_ms > 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
            serve_connection();
        });
    }
    void shutdown() override { pool_.shutdown(); }

private:
    ConnectionCounts& counts_;
    int delay_ms_;
    httplib::ThreadPool pool_;
};

int counts_index()
{
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

void count_handshake(const SSL* ssl, int where, int)
{
    if (!(where & SSL_CB_HANDSHAKE_DONE))
        return;
    auto* counts =
        static_cast<ConnectionCounts*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), counts_index()));
    counts->handshakes.fetch_add(1);
    if (SSL_session_reused(const_cast<SSL*>(ssl)))
        counts->resumed.fetch_add(1);
}

}  // namespace

std::unique_ptr<httplib::Server> make_server(const ConnectionOptions& options,
                                             ConnectionCounts& counts)
{
    std::unique_ptr<httplib::Server> server;
    if (options.tls_cert.empty()) {
        server = std::make_unique<httplib::Server>();
    } else {
        auto tls = std::make_unique<httplib::SSLServer>([&](SSL_CTX& context) {
            SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION);
            SSL_CTX_set_ex_data(&context, counts_index(), &counts);
            SSL_CTX_set_info_callback(&context, count_handshake);
            return SSL_CTX_use_certificate_chain_file(&context, options.tls_cert.c_str()) == 1 &&
                   SSL_CTX_use_PrivateKey_file(&context, options.tls_key.c_str(),
                                               SSL_FILETYPE_PEM) == 1 &&
                   SSL_CTX_check_private_key(&context) == 1;
        });
        if (!tls->is_valid())
            return nullptr;
        server = std::move(tls);
    }
    // An answer goes out in two writes (head, then body); on a reused connection Nagle's
    // rule would hold the body until the client's delayed acknowledgement, 40 ms later.
    server->set_tcp_nodelay(true);
    server->new_task_queue = [&counts, delay_ms = options.connect_delay_ms] {
        return new CountingQueue(counts, delay_ms);
    };
    return server;
}

}  // namespace sim
