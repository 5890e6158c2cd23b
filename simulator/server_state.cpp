#include "server_state.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

constexpr std::size_t most_commands = 10'000;
constexpr std::size_t most_paths = 500;
constexpr std::size_t most_call_times = 400;
constexpr std::size_t largest_kept_body = 1'048'576;
// A working channel finishes a frame at least this often.
constexpr std::int64_t frame_period_ms = 20;

std::set<std::string> backup_addresses(const std::optional<pairing>& pair,
                                       const std::string& main_serial) {
    std::set<std::string> result;
    if (!pair || !pair->names(main_serial, "Main")) return result;
    for (const paired_system& each : pair->systems)
        if (each.role == "Backup" && each.backup_for_serial == main_serial)
            result.insert(each.address);
    return result;
}

} // namespace

server_state::server_state(server_options options)
    : options_(std::move(options)),
      decks_(options_.workstation, options_.serial),
      broken_(read_switches(all_switches(switches_set_))),
      event_model_(first_event_model()) {}

server_view server_state::view() const {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    server_view result{.serial = broken_.reported_serial.value_or(options_.serial),
                       .workstation = options_.workstation,
                       .broken = broken_,
                       .event_model = event_model_,
                       .pair = read_pairing(event_model_),
                       .revision = revision_};
    const auto frame_clock =
        frames_frozen_since_ ? now - *frames_frozen_since_ : now.time_since_epoch();
    result.frame_age_ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(frame_clock).count();
    if (!frames_frozen_since_) result.frame_age_ms %= frame_period_ms;
    return result;
}

switches server_state::broken() const {
    const std::lock_guard lock(mutex_);
    return broken_;
}

std::optional<answer_fault> server_state::next_fault(const std::string& path) {
    const std::lock_guard lock(mutex_);
    auto found = broken_.faults.find(path);
    if (found == broken_.faults.end()) found = broken_.faults.find("*");
    if (found == broken_.faults.end()) return std::nullopt;
    const answer_fault fault = found->second;
    if (fault.times > 0 && --found->second.times == 0) {
        switches_set_["faults"].erase(found->first);
        broken_.faults.erase(found);
    }
    return fault;
}

void server_state::record_command(received_message message) {
    const std::lock_guard lock(mutex_);
    if (!broken_.cable_plugged) return;
    ++command_count_;
    commands_.push_back(std::move(message));
    if (commands_.size() > most_commands) commands_.pop_front();
}

void server_state::record_discovery_request() {
    const std::lock_guard lock(mutex_);
    ++discovery_requests_;
}

void server_state::record_call(const std::string& path, const std::string& head,
                               const std::string& body) {
    const std::int64_t now = wall_clock_microseconds();
    const std::lock_guard lock(mutex_);
    if (calls_.size() >= most_paths && !calls_.contains(path)) return;
    call_record& record = calls_[path];
    ++record.count;
    record.times_microseconds.push_back(now);
    if (record.times_microseconds.size() > most_call_times) record.times_microseconds.pop_front();
    record.last_head = head;
    record.last_body = body.substr(0, largest_kept_body);
}

bool server_state::update_event_model(const std::string& text) {
    const std::lock_guard lock(mutex_);
    last_update_ = text;
    if (!is_event_model(text)) return false;
    ++model_updates_;
    store_new_model(text);
    return true;
}

void server_state::store_new_model(const std::string& text) {
    const std::optional<pairing> after = read_pairing(text);
    to_release_.merge(backup_addresses(read_pairing(event_model_), options_.serial));
    for (const std::string& address : backup_addresses(after, options_.serial))
        to_release_.erase(address);
    if (after) ++revision_;
    event_model_ = with_revision(text, revision_);
    written_at_ = std::max(written_at_ + 1, wall_clock_microseconds());
    replication_due_ = true;
    replication_wake_up_.notify_all();
}

bool server_state::accept_replica(const replica& offered) {
    const std::lock_guard lock(mutex_);
    if (broken_.replication_paused || offered.written_at < written_at_) return false;
    const std::optional<pairing> pair = read_pairing(offered.event_model);
    if (pair && pair->names(options_.serial, "Backup")) {
        event_model_ = offered.event_model;
        revision_ = offered.revision;
        written_at_ = offered.written_at;
        return true;
    }
    const std::optional<pairing> held = read_pairing(event_model_);
    if (held && held->names(options_.serial, "Backup")) {
        event_model_ = without_pairing(event_model_);
        revision_ = 0;
    }
    return true;
}

void server_state::wait_for_replication(std::chrono::milliseconds period) {
    std::unique_lock lock(mutex_);
    replication_wake_up_.wait_for(lock, period,
                                  [this] { return replication_due_ || replication_ended_; });
    replication_due_ = false;
}

void server_state::end_replication() {
    const std::lock_guard lock(mutex_);
    replication_ended_ = true;
    replication_wake_up_.notify_all();
}

replication_work server_state::replication_to_do() const {
    const std::lock_guard lock(mutex_);
    if (!broken_.cable_plugged) return {};
    replication_work work{
        .content = {.event_model = event_model_, .revision = revision_, .written_at = written_at_},
        .addresses = to_release_};
    work.addresses.merge(backup_addresses(read_pairing(event_model_), options_.serial));
    return work;
}

void server_state::released(const std::string& address, const replica& sent) {
    const std::lock_guard lock(mutex_);
    // What was on its way while the model changed may still name the server.
    if (sent.written_at == written_at_) to_release_.erase(address);
}

void server_state::control(const ordered_json& request) {
    if (!request.is_object()) throw switch_error("the body must be a JSON object");
    ordered_json patch = request;
    const auto take = [&patch](const char* key, ordered_json::value_t type) {
        ordered_json value;
        const auto found = patch.find(key);
        if (found == patch.end()) return value;
        value = *found;
        if (value.type() != type) throw switch_error(std::string("wrong type: ") + key);
        patch.erase(found);
        return value;
    };
    const bool reset = take("reset", ordered_json::value_t::boolean) == true;
    const bool forget = take("forget", ordered_json::value_t::boolean) == true;
    const ordered_json model = take("eventModel", ordered_json::value_t::string);

    const std::lock_guard lock(mutex_);
    const ordered_json set = merge_switches(reset ? ordered_json::object() : switches_set_, patch);
    apply_switches(set, read_switches(all_switches(set)));
    if (model.is_string()) store_new_model(model.get<std::string>());
    if (forget) forget_records();
}

void server_state::apply_switches(const ordered_json& set, const switches& read) {
    if (!read.frames_frozen)
        frames_frozen_since_.reset();
    else if (!frames_frozen_since_)
        frames_frozen_since_ = std::chrono::steady_clock::now();
    switches_set_ = set;
    broken_ = read;
    decks_.set_switches(read.decks);
}

void server_state::forget_records() {
    commands_.clear();
    command_count_ = 0;
    discovery_requests_ = 0;
    calls_.clear();
    model_updates_ = 0;
    last_update_.clear();
    decks_.forget_records();
}

ordered_json server_state::report() const {
    const std::lock_guard lock(mutex_);
    const std::optional<pairing> pair = read_pairing(event_model_);
    ordered_json result{{"serial", options_.serial},
                        {"workstation", options_.workstation},
                        {"role", pair ? pair->role_of(options_.serial) : "Independent"},
                        {"switches", all_switches(switches_set_)},
                        {"switchesSet", switches_set_},
                        {"discoveryRequests", discovery_requests_},
                        {"commandCount", command_count_},
                        {"commands", ordered_json::array()},
                        {"calls", ordered_json::object()},
                        {"eventModel", event_model_},
                        {"pairing", pair ? pairing_json(*pair) : ordered_json()},
                        {"revision", reported_revision(broken_, revision_)},
                        {"appliedRevision", reported_applied_revision(broken_, revision_)},
                        {"modelUpdates", model_updates_},
                        {"lastUpdate", last_update_},
                        {"operatorDecks", decks_.report()}};
    for (const received_message& each : commands_)
        result["commands"].push_back(message_json(each));
    for (const auto& [path, record] : calls_)
        result["calls"][path] = {{"count", record.count},
                                 {"timesUs", record.times_microseconds},
                                 {"lastHead", record.last_head},
                                 {"lastBody", record.last_body}};
    return result;
}

} // namespace elvantris::simulator
