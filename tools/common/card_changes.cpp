#include "card_changes.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "control_text.h"

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
}

std::string card_changes::check() const {
    for (const card_change& change : changes) {
        mixer_ctl* control = handle == nullptr ? nullptr : find_control(handle, change.control);
        const std::string wrong =
            control == nullptr ? "no such control" : check_control_values(control, {change.value});
        if (!wrong.empty()) {
            return "\"" + change.control + "\": " + wrong;
        }
    }
    return "";
}

std::string card_changes::make_due(double seconds, std::vector<std::string>* made) {
    while (!changes.empty() && changes.front().seconds <= seconds) {
        const card_change change = changes.front();
        changes.erase(changes.begin());
        mixer_ctl* control = find_control(handle, change.control);
        const std::string wrong = set_control_from_text(control, {change.value});
        if (!wrong.empty()) {
            return "\"" + change.control + "\": " + wrong;
        }
        made->push_back(std::string(mixer_ctl_get_name(control)) + " = " + change.value);
    }
    return "";
}
