// Answer-shape faults of the control interface; see body_faults.h. Every kind that keeps
// the normal answer reshapes its bytes through a content provider, so a wait or a cut
// falls between bytes that are already on the wire.
#include "body_faults.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace sim {
namespace {

constexpr long kMaxSize = 256L * 1024 * 1024;
constexpr const char* kPortalPage =
    "<html><head><title>Sign in</title></head><body><form action=\"/login\">"
    "<input name=\"user\"/></form></body></html>\n";

bool read_number(const httplib::Request& request, const char* name, long high, long& value)
{
    const std::string text = request.get_param_value(name);
    if (text.empty())
        return true;
    char* end = nullptr;
    value = std::strtol(text.c_str(), &end, 10);
    return *end == '\0' && value >= 0 && value <= high;
}

std::string gzip(const std::string& bytes)
{
    z_stream stream{};
    // 15 + 16: a gzip wrapper around the deflate data.
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return bytes;
    std::string out(deflateBound(&stream, bytes.size()) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

// A content provider only runs for an empty body, and brings its own type header.
std::string take_content(httplib::Response& response)
{
    const std::string type = response.get_header_value("Content-Type");
    response.body.clear();
    response.headers.erase("Content-Type");
    return type;
}

// Serves `body` under a declared length of `declared` bytes, in pieces of `piece` bytes
// with `pause_ms` after each, or with one pause after the first half when `piece` is 0.
// Ends the connection once the body is out, or after the first half when `cut` is set.
void provide(httplib::Response& response, std::string body, size_t declared, size_t piece,
             int pause_ms, bool cut, const PauseFn& pause)
{
    auto shared = std::make_shared<std::string>(std::move(body));
    const std::string type = take_content(response);
    response.set_content_provider(
        declared, type.c_str(),
        [shared, piece, pause_ms, cut, pause](size_t offset, size_t, httplib::DataSink& sink) {
            const std::string& bytes = *shared;
            const size_t half = bytes.size() / 2;
            if (offset >= bytes.size())
                return false;  // the declared length is never reached
            if (piece == 0) {
                if (offset < half)
                    return sink.write(bytes.data(), half);
                if (cut || (pause_ms > 0 && !pause(pause_ms)))
                    return false;
                return sink.write(bytes.data() + offset, bytes.size() - offset);
            }
            const size_t length = std::min(piece, bytes.size() - offset);
            if (offset > 0 && !pause(pause_ms))
                return false;
            return sink.write(bytes.data() + offset, length);
        });
}

}  // namespace

bool read_body_fault(const httplib::Request& request, BodyFault& fault)
{
    static const char* const kKinds[] = {"",      "stall",     "trickle", "cut",
                                         "short", "truncated", "portal",  "redirect",
                                         "pad",   "flood",     "gzip",    "fill"};
    fault.kind = request.get_param_value("body");
    long pause_ms = 0, piece = 0;
    if (std::find(std::begin(kKinds), std::end(kKinds), fault.kind) == std::end(kKinds) ||
        !read_number(request, "pause_ms", 600000, pause_ms) ||
        !read_number(request, "piece", 1 << 20, piece) ||
        !read_number(request, "size", kMaxSize, fault.size))
        return false;
    if (request.has_param("location"))
        fault.location = request.get_param_value("location");
    fault.pause_ms = static_cast<int>(pause_ms);
    fault.piece = static_cast<int>(piece);
    return fault.kind != "trickle" || piece > 0;
}

void apply_body_fault(const BodyFault& fault, httplib::Response& response, const PauseFn& pause)
{
    const std::string& kind = fault.kind;
    std::string body = response.body;
    if (kind == "stall") {
        provide(response, body, body.size(), 0, fault.pause_ms, false, pause);
    } else if (kind == "trickle") {
        provide(response, body, body.size(), static_cast<size_t>(fault.piece), fault.pause_ms,
                false, pause);
    } else if (kind == "cut") {
        provide(response, body, body.size(), 0, 0, true, pause);
    } else if (kind == "short") {
        provide(response, body, body.size() + 1000, body.size(), 0, false, pause);
    } else if (kind == "truncated") {
        response.body.resize(body.size() / 2);
    } else if (kind == "portal") {
        response.status = 200;
        response.set_content(kPortalPage, "text/html");
    } else if (kind == "redirect") {
        response.status = 302;
        response.set_header("Location", fault.location);
        response.set_content("moved\n", "text/plain");
    } else if (kind == "pad" || kind == "flood") {
        // Blanks after the document element keep the answer well formed.
        if (fault.size > static_cast<long>(body.size()))
            body.resize(fault.size, ' ');
        if (kind == "pad") {
            response.body = body;
        } else {
            auto shared = std::make_shared<std::string>(std::move(body));
            response.set_chunked_content_provider(
                take_content(response).c_str(), [shared](size_t offset, httplib::DataSink& sink) {
                    if (offset >= shared->size()) {
                        sink.done();
                        return true;
                    }
                    return sink.write(shared->data() + offset,
                                      std::min<size_t>(65536, shared->size() - offset));
                });
        }
    } else if (kind == "fill") {
        // Made as it is sent, so a download of any size costs the simulator nothing.
        response.status = 200;
        take_content(response);
        response.set_content_provider(static_cast<size_t>(fault.size), "application/octet-stream",
                                      [](size_t offset, size_t length, httplib::DataSink& sink) {
                                          char piece[65536];
                                          const size_t take = std::min(length, sizeof piece);
                                          for (size_t i = 0; i < take; ++i)
                                              piece[i] =
                                                  static_cast<char>('a' + (offset + i) % 26);
                                          return sink.write(piece, take);
                                      });
    } else if (kind == "gzip") {
        response.set_header("Content-Encoding", "gzip");
        response.body = gzip(body);
    }
}

}  // namespace sim
