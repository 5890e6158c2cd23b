#include "answer_faults.hpp"

#include "sockets.hpp"

#include <algorithm>
#include <string_view>

namespace elvantris::simulator {

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::minutes longest_hang{1};
// A reset makes some systems drop what has come before it and was not read yet.
constexpr milliseconds pause_before_reset{30};

// False: the peer left, or the stop came.
bool trickle(native_socket socket, std::string_view bytes, const answer_fault& fault,
             const stop_signal& stop) {
    const auto piece = static_cast<std::size_t>(fault.trickle_bytes);
    while (!bytes.empty()) {
        if (!send_all(socket, bytes.substr(0, piece), stop)) return false;
        bytes.remove_prefix(std::min(piece, bytes.size()));
        if (!bytes.empty() && !pause_for(milliseconds(fault.trickle_every_ms), stop)) return false;
    }
    return true;
}

// A list of so many bytes as the first field of the JSON object. Wherever the text is cut, there is
// a brace before the cut.
void fill(std::string& object, std::size_t bytes) {
    constexpr std::string_view begin = R"("Filler":[)";
    const std::string item = R"({"Text":")" + std::string(1000, '}') + R"("},)";
    constexpr std::string_view end = R"({"Text":""}],)";
    const std::size_t place = object.find('{');
    const std::size_t frame = begin.size() + end.size();
    if (place == std::string::npos || object.size() + frame > bytes) return;
    const std::size_t room = bytes - object.size() - frame;
    std::string filler;
    filler.reserve(room + frame);
    filler += begin;
    for (std::size_t count = room / item.size(); count > 0; --count)
        filler += item;
    filler.append(room % item.size(), ' ');
    filler += end;
    object.insert(place + 1, filler);
}

// One header whose text looks like a line of its own again and again.
std::string padded_header(std::size_t bytes) {
    constexpr std::string_view line = "transfer-encoding:\n";
    std::string header = "X-Pad: \n";
    while (header.size() + line.size() <= bytes)
        header += line;
    return header + "\r\n";
}

bool send_answer(native_socket socket, std::string_view answer, const answer_fault& fault,
                 const stop_signal& stop) {
    if (fault.trickle_bytes == 0) return send_all(socket, answer, stop);
    std::size_t whole = 0;
    if (fault.trickle_body_only) {
        const std::size_t head_end = answer.find("\r\n\r\n");
        if (head_end != std::string_view::npos) whole = head_end + 4;
    }
    return send_all(socket, answer.substr(0, whole), stop) &&
           trickle(socket, answer.substr(whole), fault, stop);
}

} // namespace

void hang(native_socket socket, const stop_signal& stop) {
    std::string ignored;
    const auto end = std::chrono::steady_clock::now() + longest_hang;
    while (std::chrono::steady_clock::now() < end && read_more(socket, ignored, longest_hang, stop))
        ignored.clear();
}

bool reaches_application(const answer_fault& fault) {
    return !fault.hang && !fault.raw && !fault.status && !fault.body;
}

std::string spoilt_answer(const answer_fault& fault, const http_reply& good) {
    if (fault.raw) return *fault.raw;
    http_reply reply = good;
    reply.status = fault.status.value_or(reply.status);
    reply.body = fault.body.value_or(reply.body);
    if (fault.fill_to_bytes > 0) fill(reply.body, static_cast<std::size_t>(fault.fill_to_bytes));
    if (fault.header_pad_bytes > 0)
        reply.headers =
            padded_header(static_cast<std::size_t>(fault.header_pad_bytes)) + reply.headers;
    // Blanks behind a JSON text leave it as readable as it was.
    if (reply.body.size() < static_cast<std::size_t>(fault.pad_to_bytes))
        reply.body.resize(static_cast<std::size_t>(fault.pad_to_bytes), ' ');

    const bool chunked = fault.chunk_bytes > 0;
    const std::string head =
        head_of(reply, chunked ? "Transfer-Encoding: chunked"
                               : "Content-Length: " + std::to_string(reply.body.size()));
    std::string body = chunked
                           ? chunked_body(reply.body, static_cast<std::size_t>(fault.chunk_bytes))
                           : std::move(reply.body);
    for (const auto& bytes : {fault.cut_after_bytes, fault.stall_after_bytes})
        if (bytes) body.resize(std::min(body.size(), static_cast<std::size_t>(*bytes)));
    return head + body;
}

void misbehave(native_socket socket, const answer_fault& fault, const stop_signal& stop,
               const std::function<http_reply()>& ask) {
    if (fault.hang) {
        hang(socket, stop);
        return;
    }
    if (!pause_for(milliseconds(fault.delay_ms), stop)) return;
    const http_reply good = reaches_application(fault) ? ask() : http_reply();
    if (fault.reset) reset_when_closed(socket);
    // Without a place to cut, the reset takes the whole answer with it.
    if (fault.reset && !fault.cut_after_bytes) return;
    const std::string answer = spoilt_answer(fault, good);
    if (send_answer(socket, answer, fault, stop) && fault.stall_after_bytes) hang(socket, stop);
    if (fault.reset) pause_for(pause_before_reset, stop);
}

} // namespace elvantris::simulator
