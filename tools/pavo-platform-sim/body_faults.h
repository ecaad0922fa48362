// Faults in the shape of an answer rather than its status: stalls and trickles inside the
// body, a connection cut short, a declared length the body never reaches, truncated or
// foreign documents, redirects, huge answers and an unasked content encoding. Set through
// /_control/fault (body=...), applied by the HTTP front after the normal answer is built.
#pragma once

#include <httplib.h>

#include <functional>
#include <string>

namespace sim {

struct BodyFault {
    std::string kind;                 // empty: the answer's shape is left alone
    int pause_ms = 0;                 // stall and trickle: the wait inside the body
    int piece = 0;                    // trickle: bytes between two waits
    long size = 0;                    // pad and flood: bytes of the whole answer
    std::string location = "/moved";  // redirect: where it points
};

// Reads body=, pause_ms=, piece=, size= and location= of a fault request; false for bad values.
bool read_body_fault(const httplib::Request& request, BodyFault& fault);

// Waits the given milliseconds; false when the simulator stops meanwhile.
using PauseFn = std::function<bool(int)>;

// Reshapes the answer already in `response` as the fault says.
void apply_body_fault(const BodyFault& fault, httplib::Response& response, const PauseFn& pause);

}  // namespace sim
