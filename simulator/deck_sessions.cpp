#include "deck_sessions.hpp"

#include "received_bytes.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

constexpr int ok = 200;
constexpr int unreadable = 400;
constexpr int unknown = 404;
constexpr std::size_t most_records = 10'000;
constexpr std::size_t most_sessions = 100;
constexpr std::size_t most_decks = 100;
constexpr int most_keys = 256;
constexpr int largest_side = 1'000;

bool has_text(const ordered_json& object, const char* key) {
    return object.contains(key) && object[key].is_string();
}

std::optional<int> number(const ordered_json& object, const char* key, int low, int high) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer() || *found < low || *found > high)
        return std::nullopt;
    return found->get<int>();
}

std::optional<image_form> read_form(const ordered_json& offer) {
    if (!offer.is_object()) return std::nullopt;
    for (const char* key : {"Serial", "PID", "DeviceName", "DevicePath", "ImageFormat"})
        if (!has_text(offer, key)) return std::nullopt;
    const auto width = number(offer, "KeyWidth", 1, largest_side);
    const auto height = number(offer, "KeyHeight", 1, largest_side);
    const auto rotation = number(offer, "ImageRotation", 0, 270);
    const bool bmp = offer["ImageFormat"] == "bmp";
    if (!width || !height || !rotation || *rotation % 90 != 0 ||
        (!bmp && offer["ImageFormat"] != "jpeg") || !number(offer, "KeyCount", 1, most_keys))
        return std::nullopt;
    return image_form{.width = *width, .height = *height, .bmp = bmp, .rotation = *rotation};
}

template<class record>
void keep(std::deque<record>& records, record next) {
    records.push_back(std::move(next));
    if (records.size() > most_records) records.pop_front();
}

bool contains(const std::vector<std::int64_t>& keys, std::size_t key) {
    return std::find(keys.begin(), keys.end(), static_cast<std::int64_t>(key)) != keys.end();
}

} // namespace

deck_sessions::deck_sessions(std::string server_name, std::string server_serial)
    : server_name_(std::move(server_name)), server_serial_(std::move(server_serial)) {}

void deck_sessions::set_switches(const deck_switches& wanted) {
    const std::lock_guard lock(mutex_);
    if (wanted == switches_) return;
    switches_ = wanted;
    for (auto& [id, each] : sessions_)
        for (auto& [serial, deck] : each.decks)
            touch(deck);
}

int deck_sessions::register_decks(const ordered_json& request) {
    if (!request.is_object() || !has_text(request, "SessionId") ||
        !has_text(request, "MachineName") || !request.contains("Decks") ||
        !request["Decks"].is_array() || request["Decks"].size() > most_decks)
        return unreadable;
    std::map<std::string, held_deck> offered;
    for (const ordered_json& offer : request["Decks"]) {
        const std::optional<image_form> form = read_form(offer);
        if (!form) return unreadable;
        held_deck& deck = offered[offer["Serial"].get<std::string>()];
        deck = {.offer = offer.dump(), .form = *form, .drawn = {}, .held = {}};
        deck.drawn.resize(offer["KeyCount"].get<std::size_t>());
        deck.held.resize(deck.drawn.size());
    }
    const std::lock_guard lock(mutex_);
    const auto id = request["SessionId"].get<std::string>();
    if (!sessions_.contains(id) && sessions_.size() >= most_sessions) return unreadable;
    session& known = sessions_[id];
    known.machine_name = request["MachineName"].get<std::string>();
    ++known.registrations;
    for (auto& [serial, deck] : offered) {
        const auto before = known.decks.find(serial);
        if (before != known.decks.end() && before->second.offer == deck.offer)
            deck = std::move(before->second);
        else
            touch(deck);
    }
    known.decks = std::move(offered);
    return ok;
}

int deck_sessions::key_event(const ordered_json& request) {
    if (!request.is_object() || !has_text(request, "SessionId") || !has_text(request, "Serial") ||
        !number(request, "Index", -most_keys, most_keys) || !request.contains("IsDown") ||
        !request["IsDown"].is_boolean())
        return unreadable;
    const std::lock_guard lock(mutex_);
    held_deck* const deck = find(request);
    const int key = request["Index"].get<int>();
    if (deck == nullptr || key < 0 || static_cast<std::size_t>(key) >= deck->drawn.size())
        return unknown;
    const auto serial = request["Serial"].get<std::string>();
    const bool down = request["IsDown"].get<bool>();
    keep(key_events_, ordered_json{{"timeUs", wall_clock_microseconds()},
                                   {"sessionId", request["SessionId"]},
                                   {"serial", serial},
                                   {"index", key},
                                   {"isDown", down}});
    const auto place = static_cast<std::size_t>(key);
    deck->held[place] = down;
    deck->drawn[place] = ++generation_;
    if (down && place + 1 == deck->drawn.size())
        turn_to(serial, page_of(serial) % static_cast<int>(switches_.pages) + 1);
    return ok;
}

int deck_sessions::set_page(const ordered_json& request) {
    if (!request.is_object() || !has_text(request, "SessionId") || !has_text(request, "Serial") ||
        !number(request, "Page", 1, 1'000'000))
        return unreadable;
    const std::lock_guard lock(mutex_);
    if (find(request) == nullptr) return unknown;
    keep(pages_set_, ordered_json{{"timeUs", wall_clock_microseconds()},
                                  {"sessionId", request["SessionId"]},
                                  {"serial", request["Serial"]},
                                  {"page", request["Page"]}});
    turn_to(request["Serial"].get<std::string>(), request["Page"].get<int>());
    return ok;
}

int deck_sessions::detach(const ordered_json& request) {
    if (!request.is_object() || !has_text(request, "SessionId")) return unreadable;
    const std::lock_guard lock(mutex_);
    const auto id = request["SessionId"].get<std::string>();
    if (sessions_.erase(id) == 0) return unknown;
    if (detached_.size() < most_records) detached_.push_back(id);
    return ok;
}

ordered_json deck_sessions::state(const std::string& session_id, std::int64_t since) const {
    ordered_json reply;
    std::vector<deck_to_draw> decks;
    {
        const std::lock_guard lock(mutex_);
        reply["generation"] = generation_;
        // A number from before a restart tells nothing about what the asker has.
        const std::int64_t seen = since > generation_ ? 0 : since;
        const auto found = sessions_.find(session_id);
        if (found != sessions_.end())
            for (const auto& [serial, deck] : found->second.decks)
                if (deck_to_draw changed = changes(serial, deck, seen); !changed.keys.empty())
                    decks.push_back(std::move(changed));
    }
    reply["changed"] = !decks.empty();
    reply["decks"] = ordered_json::array();
    for (const deck_to_draw& each : decks)
        reply["decks"].push_back(drawn(each));
    return reply;
}

deck_sessions::deck_to_draw deck_sessions::changes(const std::string& serial, const held_deck& deck,
                                                   std::int64_t since) const {
    deck_to_draw result{
        .serial = serial, .page = page_of(serial), .use_splash = switches_.use_splash, .keys = {}};
    for (std::size_t key = 0; key < deck.drawn.size(); ++key) {
        if (since > 0 && deck.drawn[key] <= since) continue;
        result.keys.push_back({.content = {.server_name = server_name_,
                                           .server_serial = server_serial_,
                                           .page = result.page,
                                           .key = static_cast<int>(key),
                                           .turns_page = key + 1 == deck.drawn.size(),
                                           .held = deck.held[key]},
                               .form = deck.form,
                               .empty = contains(switches_.empty_keys, key),
                               .broken = contains(switches_.broken_keys, key)});
    }
    return result;
}

ordered_json deck_sessions::drawn(const deck_to_draw& deck) {
    ordered_json keys = ordered_json::array();
    for (const key_to_draw& each : deck.keys) {
        std::string data = each.empty ? "" : base64(make_key_image(each.content, each.form));
        if (each.broken && !data.empty()) data[data.size() / 2] = '*';
        keys.push_back({{"index", each.content.key}, {"data", std::move(data)}});
    }
    const ordered_json turn{
        {"functionId", 1}, {"delayMs", 0}, {"action", "page"}, {"pageDelta", 1}};
    const ordered_json cues = ordered_json::array({turn});
    const ordered_json script{{"index", deck.keys.back().content.key}, {"cues", cues}};
    return {{"serial", deck.serial},
            {"page", deck.page},
            {"useSplash", deck.use_splash},
            {"keys", std::move(keys)},
            {"scripts", ordered_json::array({script})}};
}

ordered_json deck_sessions::report() const {
    const std::lock_guard lock(mutex_);
    ordered_json result{{"generation", generation_},
                        {"sessions", ordered_json::array()},
                        {"keyEvents", key_events_},
                        {"pagesSet", pages_set_},
                        {"detached", detached_}};
    for (const auto& [id, each] : sessions_) {
        ordered_json decks = ordered_json::array();
        for (const auto& [serial, deck] : each.decks) {
            decks.push_back(ordered_json::parse(deck.offer));
            decks.back()["page"] = page_of(serial);
        }
        result["sessions"].push_back({{"sessionId", id},
                                      {"machineName", each.machine_name},
                                      {"registrations", each.registrations},
                                      {"decks", std::move(decks)}});
    }
    return result;
}

void deck_sessions::forget_records() {
    const std::lock_guard lock(mutex_);
    key_events_.clear();
    pages_set_.clear();
    detached_.clear();
}

deck_sessions::held_deck* deck_sessions::find(const ordered_json& request) {
    const auto found = sessions_.find(request["SessionId"].get<std::string>());
    if (found == sessions_.end()) return nullptr;
    const auto deck = found->second.decks.find(request["Serial"].get<std::string>());
    return deck == found->second.decks.end() ? nullptr : &deck->second;
}

int deck_sessions::page_of(const std::string& serial) const {
    const auto found = pages_.find(serial);
    return found == pages_.end() ? 1 : found->second;
}

void deck_sessions::turn_to(const std::string& serial, int page) {
    if (page_of(serial) == page) return;
    pages_[serial] = page;
    for (auto& [id, each] : sessions_)
        if (const auto deck = each.decks.find(serial); deck != each.decks.end())
            touch(deck->second);
}

void deck_sessions::touch(held_deck& deck) {
    ++generation_;
    std::fill(deck.drawn.begin(), deck.drawn.end(), generation_);
}

} // namespace elvantris::simulator
