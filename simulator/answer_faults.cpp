#include "answer_faults.hpp"

#include "sockets.hpp"

#include <poll.h>

#include <algorithm>
#include <string_view>

namespace elvantris::simulator {

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::minutes longest_hang{1};
// A reset makes some systems drop what has come before it and was not read yet.
constexpr milliseconds pause_before_reset{30};

// Answers nothing until the client gives up, or for so long that every client has.
void hang(int descriptor, const stop_signal& stop) {
    std::string ignored;
    const auto end = std::chrono::steady_clock::now() + longest_hang;
    while (std::chrono::steady_clock::now() < end &&
           read_more(descriptor, ignored, longest_hang, stop))
        ignored.clear();
}

void trickle(int descriptor, std::string_view bytes, const answer_fault& fault,
             const stop_signal& stop) {
    const auto piece = static_cast<std::size_t>(fault.trickle_bytes);
    while (!bytes.empty()) {
        if (!send_all(descriptor, bytes.substr(0, piece), stop)) return;
        bytes.remove_prefix(std::min(piece, bytes.size()));
        if (!bytes.empty() && !pause_for(milliseconds(fault.trickle_every_ms), stop)) return;
    }
}

} // namespace

bool reaches_application(const answer_fault& fault) {
    return !fault.hang && !fault.raw && !fault.status && !fault.body;
}

std::string spoilt_answer(const answer_fault& fault, const http_reply& good) {
    if (fault.raw) return *fault.raw;
    http_reply reply = good;
    reply.status = fault.status.value_or(reply.status);
    reply.body = fault.body.value_or(reply.body);
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
    if (fault.cut_after_bytes)
        body.resize(std::min(body.size(), static_cast<std::size_t>(*fault.cut_after_bytes)));
    return head + body;
}

void misbehave(int descriptor, const answer_fault& fault, const stop_signal& stop,
               const std::function<http_reply()>& ask) {
    if (fault.hang) {
        hang(descriptor, stop);
        return;
    }
    if (!pause_for(milliseconds(fault.delay_ms), stop)) return;
    const http_reply good = reaches_application(fault) ? ask() : http_reply();
    if (fault.reset) reset_when_closed(descriptor);
    // Without a place to cut, the reset takes the whole answer with it.
    if (fault.reset && !fault.cut_after_bytes) return;
    const std::string answer = spoilt_answer(fault, good);
    if (fault.trickle_bytes > 0)
        trickle(descriptor, answer, fault, stop);
    else
        send_all(descriptor, answer, stop);
    if (fault.reset) pause_for(pause_before_reset, stop);
}

} // namespace elvantris::simulator
