#include "systems/http_response.hpp"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    require(parse_plain_response(std::string(text)).body.size() <= text.size());
    const http_response bounded = parse_bounded_response(text);
    require(bounded.body.size() <= text.size());
    const http_response cut = parse_cut_response(text);
    require(cut.status == 0 || (cut.status == bounded.status && cut.body == bounded.body));
    if (const auto decoded = decode_chunked(text)) require(decoded->size() < text.size());
    return 0;
}
