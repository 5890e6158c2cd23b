#include "os/process.hpp"
#include "os/sockets.hpp"
#include "os/utf8_console.hpp"
#include "tool/run_tool.hpp"

int main(int argc, char** argv) {
    using namespace elvantris::operator_control;

    ignore_write_signals();
    const socket_runtime sockets;
    const utf8_console console;
    return run_tool(command_line_arguments(argc, argv));
}
