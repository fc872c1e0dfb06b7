#include "card_changes.h"

#include <algorithm>
#include <cstdio>

#include "card_controls.h"

bool parse_card_change(const std::string& text, card_change* change) {
    const auto colon = text.find(':');
    const auto equals = text.find('=', colon == std::string::npos ? 0 : colon);
    int used = 0;
    if (colon == std::string::npos || equals == std::string::npos || equals == colon + 1 ||
        std::sscanf(text.c_str(), "%lf%n", &change->seconds, &used) != 1 ||
        static_cast<std::size_t>(used) != colon || !(change->seconds >= 0)) {
        return false;
    }
    change->control = text.substr(colon + 1, equals - colon - 1);
    change->value = text.substr(equals + 1);
    return true;
}

card_changes::card_changes(std::vector<card_change> wanted, mixer* opened)
    : changes(std::move(wanted)), handle(opened) {
    std::stable_sort(
        changes.begin(), changes.end(),
        [](const card_change& a, const card_change& b) { return a.seconds < b.seconds; });
    for (const card_change& change : changes) {
        make(change, true, EXIT_USAGE);
    }
}

void card_changes::make(const card_change& change, bool tries, exit_code otherwise) const {
    mixer_ctl* control =
        handle != nullptr ? mixer_get_ctl_by_name(handle, change.control.c_str()) : nullptr;
    const std::string wrong =
        control == nullptr ? "no such control" : set_control(control, change.value, tries);
    if (!wrong.empty()) {
        throw command_failure(otherwise, '"' + change.control + "\": " + wrong);
    }
}

void card_changes::make_due(double seconds, std::vector<std::string>* made) {
    while (!changes.empty() && changes.front().seconds <= seconds) {
        const card_change change = changes.front();
        changes.erase(changes.begin());
        make(change, false, EXIT_READ);
        made->push_back(change.control + " = " + change.value);
    }
}
