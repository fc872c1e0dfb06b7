#include "meter_display.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kFloorDb = -60;

/// Column of a level on a scale of `width` columns.
std::size_t column_of(double dbfs, std::size_t width) {
    const double share = std::clamp((dbfs - kFloorDb) / -kFloorDb, 0.0, 1.0);
    return static_cast<std::size_t>(std::lround(share * static_cast<double>(width)));
}

/// "-60    -48 ... 0" with each figure ending at its column.
std::string scale_text(std::size_t width) {
    const int step = width >= 25 ? 12 : 30;  // dB; a figure takes three characters and a blank
    std::string scale(width + 1, ' ');
    for (int db = static_cast<int>(kFloorDb) + step; db <= 0; db += step) {
        const std::string figure = std::to_string(db);
        const std::size_t end = column_of(db, width) + 1;
        if (end >= figure.size()) {
            scale.replace(end - figure.size(), figure.size(), figure);
        }
    }
    return scale;
}

std::string figure_text(double dbfs) {
    char text[16];
    std::snprintf(text, sizeof(text), "%6.1f", std::max(dbfs, -999.0));
    return std::isinf(dbfs) ? "  -inf" : text;
}

std::string bar_text(const meter_reading& reading, std::size_t width) {
    std::string bar(width, '.');
    const std::size_t level = column_of(reading.level, width);
    const std::size_t peak = std::max(column_of(reading.peak, width), level);
    std::fill_n(bar.begin(), peak, '-');
    std::fill_n(bar.begin(), level, '#');
    if (const std::size_t hold = column_of(reading.hold, width); hold > 0) {
        bar[hold - 1] = '|';
    }
    return bar;
}

}  // namespace

meter_ballistics::meter_ballistics(unsigned int channels, unsigned int sample_bits,
                                   unsigned int stream_rate)
    : bits(sample_bits),
      rate(stream_rate),
      interval(channels, sample_bits),
      held(channels, {-INFINITY, 0}),
      overs(channels) {}

void meter_ballistics::add(const void* frames, std::size_t count) {
    interval.add(frames, count);
    frames_seen += count;
}

std::vector<meter_reading> meter_ballistics::look() {
    constexpr double kHoldSeconds = 1.5;
    constexpr double kFallDbPerSecond = 20;
    // The highest 16-bit sample; a 32-bit one that rounds to it is as good as over.
    const double full_scale_db = 20 * std::log10(32767.0 / 32768.0);
    const double passed = static_cast<double>(frames_seen - last_look) / rate;
    std::vector<meter_reading> readings;
    for (unsigned int c = 0; c < interval.channels(); ++c) {
        const double peak = interval.peak_dbfs(c);
        held_peak& hold = held[c];
        if (static_cast<double>(frames_seen - hold.since) / rate > kHoldSeconds) {
            hold.dbfs -= kFallDbPerSecond * passed;
        }
        if (peak >= hold.dbfs) {
            hold = {peak, frames_seen};
        }
        overs[c] = overs[c] || peak >= full_scale_db;
        readings.push_back({interval.rms_dbfs(c), peak, hold.dbfs, overs[c]});
    }
    interval = level_meter(interval.channels(), bits);
    last_look = frames_seen;
    return readings;
}

std::vector<std::string> meter_lines(const std::vector<meter_reading>& readings,
                                     unsigned int width) {
    constexpr std::size_t kAround = 29;  // "ch ", the figures and "OVER"
    const std::size_t bar = width > kAround + 10 ? std::min<std::size_t>(width - kAround, 72) : 10;
    std::vector<std::string> lines{"ch " + scale_text(bar) + "  level   peak"};
    for (std::size_t c = 0; c < readings.size(); ++c) {
        const meter_reading& reading = readings[c];
        std::string number = std::to_string(c);
        number.insert(0, 2 - std::min<std::size_t>(number.size(), 2), ' ');
        lines.push_back(number + ' ' + bar_text(reading, bar) + "  " + figure_text(reading.level) +
                        ' ' + figure_text(reading.hold) + " dBFS" + (reading.over ? " OVER" : ""));
    }
    for (std::string& line : lines) {
        line.resize(std::min<std::size_t>(line.size(), width));
    }
    return lines;
}

std::string meter_line(const std::vector<meter_reading>& readings) {
    std::string line;
    for (std::size_t c = 0; c < readings.size(); ++c) {
        constexpr std::size_t kBar = 12;
        meter_reading plain = readings[c];
        plain.peak = plain.hold = -INFINITY;
        line += "  " + std::to_string(c) + ' ' + bar_text(plain, kBar);
    }
    return line;
}

terminal_lines::~terminal_lines() {
    if (hidden) {
        std::printf("\033[?25h");
        std::fflush(stdout);
    }
}

void terminal_lines::draw(const std::vector<std::string>& lines) {
    std::string text = hidden ? "" : "\033[?25l";
    hidden = true;
    if (drawn > 0) {
        text += "\033[" + std::to_string(drawn) + "A";
    }
    for (const std::string& line : lines) {
        text += '\r' + line + "\033[K\n";
    }
    drawn = lines.size();
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

void terminal_lines::erase() {
    if (drawn > 0) {
        std::printf("\r\033[%zuA\033[J", drawn);
        std::fflush(stdout);
    }
    drawn = 0;
}
