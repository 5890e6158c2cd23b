#include "decks/base64.hpp"
#include "fuzz_input.hpp"
#include "unit/decks/slow_base64.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    require(decode_base64(std::string(text)) == slowly_decoded(text));
    return 0;
}
