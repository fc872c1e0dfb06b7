#include "capture_screen.h"

#include <cstdio>
#include <utility>

#include "progress_bar.h"

capture_screen::capture_screen(kind wanted, const stream_format& format, std::string file,
                               double total_seconds)
    : shown(wanted),
      name(std::move(file)),
      rate(format.rate),
      total(total_seconds),
      meter(format.channels, format.bits, format.rate) {}

void capture_screen::add(const void* frames, std::uint32_t count) {
    if (shown == kind::nothing) {
        return;
    }
    meter.add(frames, count);
    done += count;
    if (done >= next) {
        next = done + (shown == kind::terminal ? rate / 10 : rate);
        draw();
    }
}

void capture_screen::draw() {
    const std::vector<meter_reading> readings = meter.look();
    char text[64];
    std::snprintf(text, sizeof(text), "%6.2f s of %.2f s", seconds(), total);
    if (shown == kind::lines) {
        std::printf("%s%s\n", text, meter_line(readings).c_str());
        std::fflush(stdout);
        return;
    }
    const unsigned int columns = terminal_columns();
    std::vector<std::string> all = meter_lines(readings, columns - 1);
    all.push_back((std::string(text) + "   " + name + "   Ctrl-C ends it").substr(0, columns - 1));
    lines.draw(all);
}

void capture_screen::tell(const std::string& line) {
    if (shown == kind::nothing) {
        return;
    }
    lines.erase();
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void capture_screen::pass_on(const library_message& message) {
    lines.erase();
    print_library_message(message);
}

void capture_screen::finish() {
    lines.erase();
}
