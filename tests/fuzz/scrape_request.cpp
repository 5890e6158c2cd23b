#include "tool/scrape_request.hpp"
#include "fuzz_input.hpp"

// Whatever asks the exporter: it is judged the same however it is cut, and answered.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    const scrape_request whole = judge_scrape_request(text);
    scrape_request first = scrape_request::incomplete;
    for (std::size_t end = 0; end <= size && first == scrape_request::incomplete; ++end)
        first = judge_scrape_request(text.substr(0, end));
    require(first == whole);
    require(write_scrape_reply(whole, "x 1\n").starts_with("HTTP/1.1 "));
    return 0;
}
