#include "decks/operator_deck_manager.hpp"

#include "json/object_writer.hpp"
#include "os/process.hpp"
#include "os/standard_streams.hpp"

#include <chrono>
#include <exception>
#include <optional>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::chrono::seconds registration_period{2};
constexpr milliseconds pass_pause{100};

constexpr milliseconds register_timeout{750};
constexpr milliseconds state_timeout{1500};
constexpr milliseconds key_timeout{600};
constexpr milliseconds page_timeout{500};
constexpr milliseconds detach_timeout{300};
// What the program's end waits for here: the pass under way, and then all farewells together.
constexpr milliseconds pass_after_stop{400};
constexpr milliseconds all_detaches{400};

std::string known_machine_name() {
    std::string name = host_name();
    return name.empty() ? "operator" : name;
}

bool in_pair(const system_record& system) {
    return system.role == system_role::main || system.role == system_role::backup;
}

// The end of every line about a key.
std::string describe(const deck_key_event& event) {
    return " deck=" + event.serial + " key=" + std::to_string(event.key) +
           " down=" + std::string(json_bool(event.down));
}

} // namespace

operator_deck_manager::operator_deck_manager(controller_registry& registry,
                                             streamdeck_adapter& adapter)
    : controller_(registry),
      adapter_(adapter),
      machine_name_(known_machine_name()),
      session_id_("operator-control-" + machine_name_) {}

operator_deck_manager::~operator_deck_manager() {
    stop();
}

bool operator_deck_manager::start() {
    if (running_.exchange(true)) return true;
    given_up_from_ = steady_time::max();
    try {
        adapter_.set_key_handler([this](const std::string& serial, std::int32_t key, bool down) {
            const std::lock_guard lock(mutex_);
            key_queue_.push_back({.serial = serial, .key = key, .down = down});
        });
        worker_ = std::thread([this] { work(); });
    } catch (...) {
        adapter_.set_key_handler({});
        running_ = false;
        throw;
    }
    return true;
}

void operator_deck_manager::stop() {
    given_up_from_ = steady_now() + pass_after_stop;
    if (!running_.exchange(false)) return;
    if (worker_.joinable()) worker_.join();
    adapter_.set_key_handler({});
    const call_limits farewell = call_limits{}.within(all_detaches);
    for (const system_record& system : controller_.systems())
        if (system.uiReady) client_.post_detach(system, session_id_, detach_timeout, farewell);
}

call_limits operator_deck_manager::limits() const {
    return {.given_up = [this] { return steady_now() >= given_up_from_.load(); }};
}

void operator_deck_manager::work() {
    next_registration_ = steady_time::min();
    while (running_) {
        try {
            run_guarded_pass();
        } catch (...) {
            // Not even memory for the line about a failure: the next pass tries again.
        }
        std::this_thread::sleep_for(pass_pause);
    }
}

void operator_deck_manager::run_guarded_pass() {
    try {
        run_pass();
    } catch (const std::exception& failure) {
        write_error_line("[streamdeck] manager: " + std::string(failure.what()));
    }
}

void operator_deck_manager::run_pass() {
    const steady_time now = steady_now();
    const std::vector<system_record> systems = controller_.systems();
    const std::optional<system_record> active = controller_.active_system();
    const std::vector<deck_info> decks = adapter_.list_decks();

    if (now >= next_registration_) {
        register_decks(systems, decks);
        next_registration_ = now + registration_period;
    }
    settle_authority(active);
    for (const system_record& system : systems) {
        const bool has_authority = active && active->serial == system.serial;
        if (system.uiReady && (in_pair(system) || has_authority))
            poll(system, has_authority, decks);
    }
    drain_keys();
}

void operator_deck_manager::register_decks(const std::vector<system_record>& systems,
                                           const std::vector<deck_info>& decks) {
    for (const system_record& system : systems) {
        if (!system.uiReady) continue;
        if (client_.post_register(system, session_id_, machine_name_, decks, register_timeout,
                                  limits()))
            write_output_line("[streamdeck] registered " + std::to_string(decks.size()) +
                              " deck(s) with " + system.serial);
    }
}

void operator_deck_manager::settle_authority(const std::optional<system_record>& active) {
    const std::string authority = active ? active->serial : std::string();
    if (authority == display_authority_) return;
    if (active && !display_authority_.empty()) hand_over_pages(*active);
    if (active) {
        // The poll of this pass then asks for everything, which repaints every key.
        const std::lock_guard lock(mutex_);
        sessions_[authority].generation = 0;
    }
    display_authority_ = authority;
    write_output_line("[streamdeck] display authority=" + (authority.empty() ? "none" : authority));
}

void operator_deck_manager::hand_over_pages(const system_record& to) {
    std::vector<std::pair<std::string, std::int32_t>> pages;
    {
        const std::lock_guard lock(mutex_);
        const auto session = sessions_.find(display_authority_);
        if (session == sessions_.end()) return;
        for (const auto& [serial, view] : session->second.decks)
            pages.emplace_back(serial, view.page);
    }
    for (const auto& [serial, page] : pages)
        client_.post_set_page(to, session_id_, serial, page, page_timeout, limits());
}

void operator_deck_manager::poll(const system_record& server, bool has_authority,
                                 const std::vector<deck_info>& attached) {
    std::int64_t since = 0;
    {
        const std::lock_guard lock(mutex_);
        since = sessions_[server.serial].generation;
    }
    deck_state_reply reply = client_.get_state(server, session_id_, since, state_timeout, limits());
    if (!reply.accepted) return;

    const std::lock_guard lock(mutex_);
    server_deck_session& session = sessions_[server.serial];
    session.generation = reply.generation;
    if (reply.changed) apply(reply, session, has_authority, attached);
}

void operator_deck_manager::apply(deck_state_reply& reply, server_deck_session& session,
                                  bool has_authority, const std::vector<deck_info>& attached) {
    for (deck_view& view : reply.decks) {
        const std::string serial = view.serial;
        const bool use_splash = view.use_splash;
        const auto keys = keep_view(session, std::move(view), attached);
        if (has_authority) paint(serial, use_splash, keys);
    }
}

void operator_deck_manager::paint(const std::string& serial, bool use_splash,
                                  const std::vector<deck_key_image>& keys) {
    if (use_splash) {
        adapter_.show_splash(serial);
        return;
    }
    for (const deck_key_image& key : keys) {
        if (key.image.empty())
            adapter_.clear_key(serial, key.index);
        else
            adapter_.set_key_image(serial, key.index, key.image);
    }
}

void operator_deck_manager::drain_keys() {
    std::deque<deck_key_event> events;
    {
        const std::lock_guard lock(mutex_);
        events.swap(key_queue_);
    }
    for (const deck_key_event& event : events) {
        if (limits().over()) return;
        deliver(event);
    }
}

void operator_deck_manager::deliver(const deck_key_event& event) {
    const std::optional<system_record> active = controller_.active_system();
    if (!active) return;
    const std::vector<system_record> systems = controller_.systems();
    const bool accepted = controller_.enabled() && controller_.has_pair()
                              ? deliver_to_pair(systems, event)
                              : send_key(*active, event);
    if (!accepted)
        write_error_line("[streamdeck] key event was not accepted by any Elvantris server" +
                         describe(event));
}

bool operator_deck_manager::deliver_to_pair(const std::vector<system_record>& systems,
                                            const deck_key_event& event) {
    bool accepted = false;
    for (const system_record& system : systems) {
        if (!system.uiReady || !in_pair(system)) continue;
        if (send_key(system, event))
            accepted = true;
        else
            write_error_line("[streamdeck] key event delivery failed server=" + system.serial +
                             describe(event));
    }
    return accepted;
}

bool operator_deck_manager::send_key(const system_record& server, const deck_key_event& event) {
    return client_.post_key_event(server, session_id_, event.serial, event.key, event.down,
                                  key_timeout, limits());
}

} // namespace elvantris::operator_control
