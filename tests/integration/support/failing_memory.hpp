#pragma once

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

} // namespace elvantris::operator_control
