#include "app/run_application.hpp"
#include "os/process.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv) {
    using namespace elvantris::operator_control;

    std::vector<std::string> arguments = command_line_arguments(argc, argv);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size());
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    return run_application(static_cast<int>(pointers.size()),
                           pointers.empty() ? nullptr : pointers.data());
}
