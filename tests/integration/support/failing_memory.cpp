#include "integration/support/failing_memory.hpp"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr int unlimited = -1;
thread_local int pieces_left = unlimited;
thread_local bool wanted_more = false;
constexpr std::size_t any_size = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> largest_piece = any_size; // for all threads

void* take(std::size_t size) {
    if (size > largest_piece) throw std::bad_alloc();
    if (pieces_left == 0) {
        wanted_more = true;
        throw std::bad_alloc();
    }
    if (pieces_left > 0) --pieces_left;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

} // namespace

// The whole program's, so that every library's need is counted.
void* operator new(std::size_t size) {
    return take(size);
}
void* operator new[](std::size_t size) {
    return take(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace elvantris::operator_control {

failing_memory::failing_memory(int pieces) {
    wanted_more = false;
    pieces_left = pieces;
}

failing_memory::~failing_memory() {
    pieces_left = unlimited;
}

bool failing_memory::exhausted() const {
    return wanted_more;
}

no_large_memory::no_large_memory(std::size_t largest) {
    largest_piece = largest;
}

no_large_memory::~no_large_memory() {
    largest_piece = any_size;
}

} // namespace elvantris::operator_control
