#include "os/process.hpp"
#include "os/sockets.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace elvantris::operator_control {
namespace {

// What the program's entry does for the whole process.
class socket_environment : public testing::Environment {
public:
    void SetUp() override {
        runtime_.emplace();
        ASSERT_TRUE(runtime_->started());
        ignore_write_signals();
    }
    void TearDown() override { runtime_.reset(); }

private:
    std::optional<socket_runtime> runtime_;
};

const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new socket_environment);

} // namespace
} // namespace elvantris::operator_control
