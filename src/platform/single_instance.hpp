#pragma once

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

// The mark that one instance runs in this login session. Its name is a constant: another
// configuration file makes no second instance.
class single_instance {
public:
    single_instance() = default;
    // Gives the mark back.
    ~single_instance();
    single_instance(const single_instance&) = delete;
    single_instance& operator=(const single_instance&) = delete;
    single_instance(single_instance&&) = delete;
    single_instance& operator=(single_instance&&) = delete;

    // False if another process holds it, or the system refuses. True at once if held already.
    bool acquire_single_instance();

    // Which mark the system has refused, and why, in one line for the operator; empty if it has
    // refused none.
    const std::string& refusal() const { return refusal_; }

private:
    std::string refusal_;
    std::intptr_t handle_ = -1;
};

} // namespace elvantris::operator_control
