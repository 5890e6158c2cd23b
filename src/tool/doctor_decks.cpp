#include "decks/hid_text.hpp"
#include "tool/doctor_rules.hpp"

#include <algorithm>
#include <iterator>

namespace elvantris::operator_control {
namespace {

std::string told_deck(const deck_on_bus& deck) {
    const std::string name = deck.name.empty() ? "A deck" : deck.name;
    return deck.serial.empty() ? name : name + " (" + deck.serial + ')';
}

std::vector<running_program> strangers(const deck_use& use) {
    std::vector<running_program> others;
    if (use.holders)
        std::ranges::copy_if(*use.holders, std::back_inserter(others),
                             [](const auto& holder) { return holder.name != own_program; });
    return others;
}

bool program_has(const doctor_view& view, const deck_on_bus& deck) {
    return std::ranges::find(view.program.status->decks, deck.serial, &seen_deck::serial) !=
           view.program.status->decks.end();
}

findings examine_holders(const deck_use& use) {
    if (const std::vector<running_program> others = strangers(use); !others.empty())
        return {{.id = "deck-held",
                 .sentence = told_deck(use.deck) + " is held by " + told_programs(others) + '.',
                 .advice = "End that program, also beside the clock: both get every key."}};
    if (use.access == device_access::held)
        return {{.id = "deck-held",
                 .sentence = told_deck(use.deck) + " is held by a program that lets no other in.",
                 .advice = "End other deck programs, also beside the clock."}};
    return {};
}

findings examine_deck(const doctor_view& view, const deck_use& use) {
    if (use.deck.model == nullptr)
        return {{.id = "deck-model",
                 .sentence = told_deck(use.deck) + " is of a kind that the program doesn't know: " +
                             hex_product_id(use.deck.product_id) + '.',
                 .advice = "Use another deck, or ask whether a newer version knows it."}};
    if (use.access == device_access::refused)
        return {{.id = "deck-access",
                 .sentence =
                     "This user may not open " + told_deck(use.deck) + ", " + use.deck.path + '.',
                 .advice = "Sit at this computer yourself, and plug the deck in again. On Linux, "
                           "its rule comes with the package."}};
    findings found = examine_holders(use);
    if (found.empty() && is_running(view) && !use.deck.serial.empty() &&
        use.access == device_access::usable && !program_has(view, use.deck))
        found.push_back({.id = "deck-unused",
                         .sentence = told_deck(use.deck) + " is on the bus, and the program does "
                                                           "not use it.",
                         .advice = "Wait a few seconds; then plug it in again. The log says more "
                                   "in its lines with [streamdeck]."});
    return found;
}

} // namespace

// Without a deck all is well: not everybody has one. Check knows how many there were.
findings examine_decks(const doctor_view& view) {
    findings found;
    if (view.decks)
        for (const deck_use& use : *view.decks)
            std::ranges::move(examine_deck(view, use), std::back_inserter(found));
    return found;
}

} // namespace elvantris::operator_control
