#include "decks/deck_protocol.hpp"
#include "fuzz_input.hpp"
#include "json/field_scanner.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);

    const deck_state_reply reply = read_deck_state(text, 5);
    require(reply.accepted);
    std::size_t image_bytes = 0;
    for (const deck_view& view : reply.decks)
        for (const deck_key_image& key : view.keys)
            image_bytes += key.image.size();
    require(image_bytes <= size);
    const std::size_t pascal = json_read_object_list(text, "Decks").size();
    require(reply.decks.size() ==
            (pascal != 0 ? pascal : json_read_object_list(text, "decks").size()));

    const std::string serial(text);
    require(json_read_string(write_page("s", serial, 3), "Serial") == serial);
    return 0;
}
