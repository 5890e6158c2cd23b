// Lets the calling thread run out of memory. All of this program's `new` goes through here.
#pragma once

#include <cstddef>

namespace elvantris::operator_control {

// While it lives, so many allocations of this thread succeed and all further ones throw.
class failing_allocations {
public:
    explicit failing_allocations(std::size_t after);
    ~failing_allocations();
    failing_allocations(const failing_allocations&) = delete;
    failing_allocations& operator=(const failing_allocations&) = delete;
    failing_allocations(failing_allocations&&) = delete;
    failing_allocations& operator=(failing_allocations&&) = delete;
};

} // namespace elvantris::operator_control
