#include "card_changes.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "control_text.h"
#include "zel_virtual_card.h"

namespace {

std::string at_time(double seconds) {
    char text[32];
    std::snprintf(text, sizeof(text), "%6.2f s: ", seconds);
    return text;
}

}  // namespace

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

card_changes::card_changes(std::vector<card_change> wanted)
    : changes(std::move(wanted)), handle(mixer_open(kZelVirtualCard)) {
    std::stable_sort(
        changes.begin(), changes.end(),
        [](const card_change& a, const card_change& b) { return a.seconds < b.seconds; });
    if (handle != nullptr) {
        mixer_subscribe_events(handle, 1);
    }
}

std::string card_changes::follow(double seconds, std::vector<std::string>* news) {
    if (handle == nullptr) {
        return changes.empty() ? "" : "cannot open the mixer of card 70";
    }
    while (!changes.empty() && changes.front().seconds <= seconds) {
        const card_change change = changes.front();
        changes.erase(changes.begin());
        mixer_ctl* control = find_control(handle, change.control);
        const std::string wrong =
            control == nullptr ? "no such control" : set_control_from_text(control, {change.value});
        if (!wrong.empty()) {
            return "\"" + change.control + "\": " + wrong;
        }
        news->push_back(at_time(seconds) + mixer_ctl_get_name(control) + " = " + change.value);
    }
    for (mixer_ctl_event event{};
         mixer_wait_event(handle, 0) == 1 && mixer_read_event(handle, &event) == 1;) {
        ++restart_count;
        news->push_back(at_time(seconds) + "the capture was restarted");
    }
    return "";
}
