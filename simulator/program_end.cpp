#include "program_end.hpp"

#include "arguments.hpp"

#include <exception>
#include <iostream>

namespace elvantris::simulator {

int run_program(const char* name, const std::function<void()>& run) {
    prepare_process();
    try {
        run();
        return 0;
    } catch (const argument_error& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 2;
    } catch (const std::exception& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 1;
    }
}

} // namespace elvantris::simulator
