#include "local/http_request.hpp"
#include "fuzz_input.hpp"
#include "local/ui_shell_server.hpp"

#include <algorithm>

// The first byte chooses how the rest is cut into pieces.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    if (size == 0) return 0;
    const std::size_t piece = bytes[0] + std::size_t{1};
    const std::string_view text = as_text(bytes + 1, size - 1);
    require(answer_shell_request(text).starts_with("HTTP/1.1 "));

    request_assembler assembler;
    for (std::size_t at = 0; at < text.size(); at += piece)
        if (assembler.add(text.substr(at, piece))) break;
    if (const auto request = assembler.finish()) {
        require(!request->method.empty() && !request->path.empty());
        require(request->body.size() <= text.size());
    }
    return 0;
}
