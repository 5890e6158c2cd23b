#pragma once

#include "protection/outbound_sequence.hpp"

#include <list>
#include <utility>

namespace elvantris::operator_control {

// The sequences that wait for the outbound worker, and whether it is sending one. Its callers
// check that there is at most one job.
//
// Not safe for several threads at once; its owner's lock guards it.
// Failure: only `prepared` may throw, so that a transfer can get ready first and then not fail.
class outbound_queue {
public:
    using prepared_job = std::list<outbound_sequence>;
    // `sequence` must have at least one step. A transfer without steps adds an empty job.
    static prepared_job prepared(outbound_sequence sequence) {
        prepared_job job;
        job.push_back(std::move(sequence));
        return job;
    }

    void add(prepared_job job) noexcept { waiting_.splice(waiting_.end(), job); }
    bool waiting() const { return !waiting_.empty(); }
    bool busy() const { return running_ || waiting(); }

    // Only while something waits.
    outbound_sequence take() noexcept {
        outbound_sequence sequence = std::move(waiting_.front());
        waiting_.pop_front();
        running_ = true;
        return sequence;
    }
    void finish() noexcept { running_ = false; }

private:
    std::list<outbound_sequence> waiting_;
    bool running_ = false;
};

} // namespace elvantris::operator_control
