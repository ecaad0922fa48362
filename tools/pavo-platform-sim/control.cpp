// Request record, faults and queued answers of the control interface; see control.h.
#include "control.h"

namespace sim {

void ControlState::record(RecordedRequest request)
{
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(std::move(request));
}

std::string ControlState::recorded_text() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const RecordedRequest& request : requests_) {
        text += request.method + " " + std::to_string(request.path.size()) + " " +
                std::to_string(request.body.size()) + "\n";
        text += request.path + "\n";
        text += request.body + "\n";
    }
    return text;
}

void ControlState::clear_requests()
{
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

void ControlState::set_fault(const std::string& path, const Fault& fault)
{
    std::lock_guard<std::mutex> lock(mutex_);
    faults_[path] = fault;
}

std::optional<Fault> ControlState::fault_for(const std::string& path) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = faults_.find(path);
    if (found == faults_.end())
        return std::nullopt;
    return found->second;
}

void ControlState::clear_faults()
{
    std::lock_guard<std::mutex> lock(mutex_);
    faults_.clear();
}

void ControlState::push_answer(const std::string& path, std::string document)
{
    std::lock_guard<std::mutex> lock(mutex_);
    answers_[path].push_back(std::move(document));
}

std::optional<std::string> ControlState::take_answer(const std::string& path)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = answers_.find(path);
    if (found == answers_.end() || found->second.empty())
        return std::nullopt;
    std::string document = std::move(found->second.front());
    found->second.pop_front();
    return document;
}

void ControlState::clear_answers()
{
    std::lock_guard<std::mutex> lock(mutex_);
    answers_.clear();
}

}  // namespace sim
