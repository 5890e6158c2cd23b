#include "integration/support/failing_allocations.hpp"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();
thread_local std::size_t left = no_limit;

} // namespace

namespace elvantris::operator_control {

failing_allocations::failing_allocations(std::size_t after) {
    left = after;
}

failing_allocations::~failing_allocations() {
    left = no_limit;
}

} // namespace elvantris::operator_control

void* operator new(std::size_t size) {
    if (left != no_limit && left-- == 0) {
        left = 0;
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
