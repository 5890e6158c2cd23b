#pragma once

#include "os/process.hpp"

#include <cstdlib>
#include <list>
#include <optional>
#include <string>
#include <utility>

namespace elvantris::operator_control {

// One environment variable, put back at the end.
class variable {
public:
    explicit variable(std::string name)
        : name_(std::move(name)), before_(environment_variable(name_)) {}
    ~variable() {
        if (before_)
            set(*before_);
        else
            clear();
    }
    variable(const variable&) = delete;
    variable& operator=(const variable&) = delete;
    variable(variable&&) = delete;
    variable& operator=(variable&&) = delete;

    void set(const std::string& value) { put(name_ + '=' + value); }
    void clear() {
        // The systems differ in which of the two forms takes a variable away.
        put(name_ + '=');
        if (environment_variable(name_)) put(name_);
    }

private:
    // The environment keeps pointers to the texts that it is given.
    static void put(const std::string& text) {
        static std::list<std::string> kept;
        ::putenv(kept.emplace_back(text).data());
    }

    std::string name_;
    std::optional<std::string> before_;
};

} // namespace elvantris::operator_control
