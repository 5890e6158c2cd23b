#include "decks/deck_protocol.hpp"

#include "decks/base64.hpp"
#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "systems/form_encoding.hpp"
#include "systems/known_systems.hpp"

#include <optional>
#include <utility>

namespace elvantris::operator_control {
namespace {

std::string write_deck(const deck_info& deck) {
    return json_object_writer()
        .text("Serial", deck.serial)
        .text("PID", deck.pid)
        .text("DeviceName", deck.device_name)
        .number("KeyCount", deck.key_count)
        .text("DevicePath", deck.device_path)
        .number("KeyWidth", deck.key_width)
        .number("KeyHeight", deck.key_height)
        .text("ImageFormat", deck.image_format)
        .number("ImageRotation", deck.image_rotation)
        .written();
}

// Both spellings of a key; PascalCase decides where both can be read.
struct key_pair {
    std::string_view camel;
    std::string_view pascal;
};

std::int32_t read_number(std::string_view text, key_pair key, std::int32_t fallback = 0) {
    return json_read_int(text, key.pascal, json_read_int(text, key.camel, fallback));
}

bool read_bool(std::string_view text, key_pair key) {
    return json_read_bool(text, key.pascal, json_read_bool(text, key.camel, false));
}

// An empty PascalCase string counts too, unlike in the servers' other replies.
std::string read_text(std::string_view text, key_pair key) {
    if (auto pascal = json_find_string(text, key.pascal)) return std::move(*pascal);
    return json_read_string(text, key.camel);
}

// One reply may hold so many objects in all its lists. Far more than any console needs; without it
// 64 MiB of empty objects would become gigabytes of records.
constexpr std::size_t most_objects = 262'144;

class list_reader {
public:
    // Calls `visit` for each object of the list, in order.
    template<typename visitor>
    void read(std::string_view text, key_pair key, visitor visit) {
        bool any = false;
        for (const std::string_view name : {key.pascal, key.camel}) {
            json_object_cursor objects(json_view_array(text, name));
            while (left_ > 0) {
                const auto object = objects.next();
                if (!object) break;
                --left_;
                any = true;
                visit(*object);
            }
            if (any) return;
        }
    }

private:
    std::size_t left_ = most_objects;
};

void read_key(std::string_view text, deck_view& view) {
    const std::int32_t index = read_number(text, {"index", "Index"});
    // White space alone decodes to nothing, as an empty text does: the key is to be cleared.
    std::optional<std::string> image = decode_base64(read_text(text, {"data", "Data"}));
    if (image)
        view.keys.push_back({.index = index, .image = std::move(*image)});
    else
        view.refused_keys.push_back(index);
}

std::string read_short_text(std::string_view text, key_pair key) {
    return cut_network_text(read_text(text, key));
}

deck_cue read_cue(std::string_view text) {
    return {.function_id = read_number(text, {"functionId", "FunctionId"}),
            .delay_ms = read_number(text, {"delayMs", "DelayMs"}),
            .action = read_short_text(text, {"action", "Action"}),
            .address = read_short_text(text, {"address", "Address"}),
            .port = read_number(text, {"port", "Port"}),
            .payload = read_short_text(text, {"payload", "Payload"}),
            .release_payload = read_short_text(text, {"releasePayload", "ReleasePayload"}),
            .page_delta = read_number(text, {"pageDelta", "PageDelta"})};
}

void read_script(std::string_view text, deck_view& view, list_reader& lists) {
    std::vector<deck_cue>& cues = view.scripts[read_number(text, {"index", "Index"})];
    cues.clear();
    lists.read(text, {"cues", "Cues"},
               [&](std::string_view cue) { cues.push_back(read_cue(cue)); });
}

deck_view read_view(std::string_view text, list_reader& lists) {
    deck_view view{.serial = read_text(text, {"serial", "Serial"}),
                   .page = read_number(text, {"page", "Page"}, 1),
                   .use_splash = read_bool(text, {"useSplash", "UseSplash"}),
                   .keys = {},
                   .scripts = {},
                   .refused_keys = {}};
    lists.read(text, {"keys", "Keys"}, [&](std::string_view key) { read_key(key, view); });
    lists.read(text, {"scripts", "Scripts"},
               [&](std::string_view script) { read_script(script, view, lists); });
    return view;
}

} // namespace

std::string write_registration(const std::string& session_id, const std::string& machine_name,
                               const std::vector<deck_info>& decks) {
    return json_object_writer()
        .text("SessionId", session_id)
        .text("MachineName", machine_name)
        .json("Decks", json_array(decks, write_deck))
        .written();
}

std::string write_key_event(const std::string& session_id, const std::string& serial,
                            std::int32_t key, bool down) {
    return json_object_writer()
        .text("SessionId", session_id)
        .text("Serial", serial)
        .number("Index", key)
        .flag("IsDown", down)
        .written();
}

std::string write_page(const std::string& session_id, const std::string& serial,
                       std::int32_t page) {
    return json_object_writer()
        .text("SessionId", session_id)
        .text("Serial", serial)
        .number("Page", page)
        .written();
}

std::string write_detach(const std::string& session_id) {
    return json_object_writer().text("SessionId", session_id).written();
}

std::string state_path(const std::string& session_id, std::int64_t since) {
    return "/Home/OperatorDeckState?sessionId=" + url_encode_form(session_id) +
           "&since=" + std::to_string(since);
}

deck_state_reply read_deck_state(std::string_view body, std::int64_t since) {
    deck_state_reply reply{.generation = json_read_int64(
                               body, "Generation", json_read_int64(body, "generation", since)),
                           .changed = read_bool(body, {"changed", "Changed"}),
                           .decks = {},
                           .accepted = true};
    list_reader lists;
    lists.read(body, {"decks", "Decks"},
               [&](std::string_view deck) { reply.decks.push_back(read_view(deck, lists)); });
    return reply;
}

} // namespace elvantris::operator_control
