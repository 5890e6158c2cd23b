#pragma once

#include <cstddef>

namespace elvantris::operator_control {

// While it lives this thread gets so many more pieces of memory and then none: `new` throws.
class failing_memory {
public:
    explicit failing_memory(int pieces);
    ~failing_memory();
    failing_memory(const failing_memory&) = delete;
    failing_memory& operator=(const failing_memory&) = delete;
    failing_memory(failing_memory&&) = delete;
    failing_memory& operator=(failing_memory&&) = delete;

    // Whether more was wanted than there was.
    bool exhausted() const;
};

// While it lives no thread gets a larger piece of memory: `new` throws.
class no_large_memory {
public:
    explicit no_large_memory(std::size_t largest);
    ~no_large_memory();
    no_large_memory(const no_large_memory&) = delete;
    no_large_memory& operator=(const no_large_memory&) = delete;
    no_large_memory(no_large_memory&&) = delete;
    no_large_memory& operator=(no_large_memory&&) = delete;
};

} // namespace elvantris::operator_control
