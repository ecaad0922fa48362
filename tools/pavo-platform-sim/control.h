// What the control interface under "/_control/" steers: the record of every request, the
// faults set per path and the answers queued per path. Owned by the HTTP front
// (http_front.cpp), which consults it around every request; thread-safe.
#pragma once

#include "body_faults.h"

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sim {

struct RecordedRequest {
    std::string method;
    std::string path;
    std::string body;
};

// Applied to every request of its path until cleared: wait `delay_ms`, then close the
// connection without an answer, or answer with `status`, or (neither) answer normally,
// in the shape `body` gives.
struct Fault {
    int status = 0;
    int delay_ms = 0;
    bool close = false;
    BodyFault body;
};

class ControlState {
public:
    void record(RecordedRequest request);
    // Each request as a line "METHOD PATHLENGTH BODYLENGTH", the path, a line feed, the
    // body, a line feed: exact bytes, still readable with curl.
    std::string recorded_text() const;
    void clear_requests();

    void set_fault(const std::string& path, const Fault& fault);
    std::optional<Fault> fault_for(const std::string& path) const;
    void clear_faults();

    // Queued answers replace the platform's next answers on the path, first in first out.
    void push_answer(const std::string& path, std::string document);
    std::optional<std::string> take_answer(const std::string& path);
    void clear_answers();

private:
    mutable std::mutex mutex_;
    std::vector<RecordedRequest> requests_;
    std::map<std::string, Fault> faults_;
    std::map<std::string, std::deque<std::string>> answers_;
};

}  // namespace sim
