#include "watch.h"

#include <tinyalsa/mixer.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "control_json.h"
#include "control_text.h"
#include "interrupt.h"
#include "library_log.h"
#include "virtual_stream.h"
#include "zel_virtual_card.h"

namespace {

class watcher {
  public:
    watcher(const watch_options& wanted, mixer* opened)
        : options(wanted), handle(opened), changes(wanted.changes, opened) {
        for (unsigned int i = 0; i < mixer_get_num_ctls(handle); ++i) {
            values.push_back(control_value_text(mixer_get_ctl(handle, i)));
        }
    }

    exit_code run() {
        if (const std::string wrong = changes.check(); !wrong.empty()) {
            return fail(EXIT_USAGE, wrong);
        }
        while (!interrupted() && (options.seconds == 0 || elapsed() < options.seconds)) {
            std::vector<std::string> made;
            const std::string wrong = changes.make_due(elapsed(), &made);
            if (!wrong.empty()) {
                return fail(EXIT_WRITE, wrong);
            }
            constexpr int kWaitMs = 50;
            const int waited = mixer_wait_event(handle, kWaitMs);
            mixer_ctl_event event{};
            if (waited == 1 && mixer_read_event(handle, &event) == 1) {
                options.card == kZelVirtualCard ? tell_restart() : tell_change(event);
            } else if (waited < 0 && !interrupted()) {
                return fail(EXIT_READ,
                            "card " + std::to_string(options.card) + " no longer tells its events");
            }
        }
        return EXIT_OK;
    }

  private:
    double elapsed() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    json_value event_json(const char* kind) const {
        json_value json = json_value::object();
        json.set("seconds", elapsed()).set("card", options.card).set("event", kind);
        return json;
    }

    void tell_restart() {
        json_value changed = json_value::object();
        std::string text;
        for (unsigned int i = 0; i < values.size(); ++i) {
            mixer_ctl* control = mixer_get_ctl(handle, i);
            const std::string value = control_value_text(control);
            if (value != values[i] &&
                !std::string(mixer_ctl_get_name(control)).starts_with("Sim ")) {
                text += (text.empty() ? ": " : ", ") + std::string(mixer_ctl_get_name(control)) +
                        " = " + value;
                changed.set(mixer_ctl_get_name(control), control_value_json(control));
            }
            values[i] = value;
        }
        if (options.json) {
            event_json("restart").set("changed", std::move(changed)).print(true);
        } else {
            print_line("the capture was restarted" + text);
        }
    }

    /// A kernel's event has the control's name; a plugin card's its number only.
    void tell_change(const mixer_ctl_event& event) {
        const auto* name = reinterpret_cast<const char*>(event.data.element.id.name);
        const unsigned int number = event.data.element.id.numid;
        mixer_ctl* control =
            *name != '\0' ? mixer_get_ctl_by_name(handle, name) : mixer_get_ctl(handle, number);
        if (options.json) {
            json_value json = event_json("value");
            json.set("numid", number);
            if (control != nullptr) {
                json.set("name", mixer_ctl_get_name(control))
                    .set("value", control_value_json(control));
            }
            json.print(true);
        } else if (control != nullptr) {
            print_line(std::string(mixer_ctl_get_name(control)) + " = " +
                       control_value_text(control));
        } else {
            print_line("control " + std::to_string(number));
        }
    }

    void print_line(const std::string& text) const {
        std::printf("%8.3f s  %s\n", elapsed(), text.c_str());
        std::fflush(stdout);
    }

    const watch_options& options;
    mixer* handle;
    std::vector<std::string> values;
    card_changes changes;
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

}  // namespace

exit_code run_watch(const watch_options& options) {
    print_library_log(options.log);
    catch_interrupts();
    virtual_stream stream;
    if (options.card == kZelVirtualCard && !options.no_stream) {
        held_library_log log;
        if (!stream.open({}, true)) {
            fail(EXIT_OPEN, stream.error());
            explain_failure(log.take());
            return EXIT_OPEN;
        }
    }
    const std::unique_ptr<mixer, void (*)(mixer*)> handle(mixer_open(options.card), mixer_close);
    if (!handle) {
        return fail(EXIT_OPEN, "cannot open the mixer of card " + std::to_string(options.card));
    }
    if (mixer_subscribe_events(handle.get(), 1) != 0) {
        return fail(EXIT_OPEN,
                    "card " + std::to_string(options.card) + " does not tell its events");
    }
    const exit_code code = watcher(options, handle.get()).run();
    mixer_subscribe_events(handle.get(), 0);
    return code;
}
