#include "plot.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "audio_report.h"
#include "chain_report.h"
#include "library_log.h"
#include "spectrum.h"
#include "stage_coefficients.h"
#include "svg_picture.h"
#include "zel_src_48k.h"

namespace {

constexpr const char* kCurve = "#1f4e9c";
constexpr const char* kLimit = "#c0392b";

exit_code save(const svg_picture& picture, const std::string& path) {
    if (!picture.save(path)) {
        return fail(EXIT_WRITE, path + ": cannot be written");
    }
    std::printf("%s\n", path.c_str());
    return EXIT_OK;
}

void draw_response(svg_picture* picture, const svg_axes& axes) {
    constexpr double kRate = 48000;
    std::vector<std::pair<double, double>> points;
    for (double pixel = 0; pixel <= axes.width; pixel += 0.5) {
        const double khz = axes.x_min + pixel / axes.width * (axes.x_max - axes.x_min);
        const double gain = filter_gain_db(res_coeff, res_order, khz * 1000, kRate);
        points.emplace_back(axes.x(khz), axes.y(std::clamp(gain, axes.y_min, axes.y_max)));
    }
    picture->polyline(points, kCurve);
}

/// A limit from one frequency to another.
void draw_limit(svg_picture* picture, const svg_axes& axes, double from_khz, double to_khz,
                double db) {
    picture->line(axes.x(from_khz), axes.y(db), axes.x(to_khz), axes.y(db), kLimit, true);
}

struct recording {
    SF_INFO info{};
    std::vector<double> samples;  ///< interleaved, full scale 1

    std::size_t frames() const { return static_cast<std::size_t>(info.frames); }
    double at(std::size_t frame, int channel) const {
        return samples[frame * static_cast<std::size_t>(info.channels) +
                       static_cast<std::size_t>(channel)];
    }
};

std::string load(const std::string& path, recording* into) {
    constexpr sf_count_t kMaxSamples = sf_count_t{1} << 27;
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(
        sf_open(path.c_str(), SFM_READ, &into->info), sf_close);
    if (!file) {
        return path + ": " + sf_strerror(nullptr);
    }
    if (into->info.frames <= 0 || into->info.frames > kMaxSamples / into->info.channels) {
        return path + ": empty or too long to be drawn";
    }
    into->samples.resize(into->frames() * static_cast<std::size_t>(into->info.channels));
    return sf_readf_double(file.get(), into->samples.data(), into->info.frames) == into->info.frames
               ? ""
               : path + ": cut short";
}

/// Lowest and highest sample of each pixel's frames.
void draw_waveform(svg_picture* picture, const svg_axes& axes, const recording& sound,
                   int channel) {
    const auto columns = static_cast<std::size_t>(axes.width);
    for (std::size_t column = 0; column < columns; ++column) {
        const std::size_t begin = sound.frames() * column / columns;
        const std::size_t end = std::max(sound.frames() * (column + 1) / columns, begin + 1);
        double low = 1;
        double high = -1;
        for (std::size_t f = begin; f < std::min(end, sound.frames()); ++f) {
            low = std::min(low, sound.at(f, channel));
            high = std::max(high, sound.at(f, channel));
        }
        if (low <= high) {
            picture->rect(axes.left + static_cast<double>(column), axes.y(high), 1,
                          std::max(axes.y(low) - axes.y(high), 1.0), kCurve);
        }
    }
}

/// A spectrum every four pixels, cells of equal colour drawn as one.
void draw_spectrogram(svg_picture* picture, const svg_axes& axes, const recording& sound,
                      int channel) {
    constexpr std::size_t kSize = 512;
    constexpr double kFloorDb = -100;
    constexpr double kCell = 4;
    const auto columns = static_cast<std::size_t>(axes.width / kCell);
    const auto rows = static_cast<std::size_t>(axes.height / 2);
    for (std::size_t column = 0; column < columns; ++column) {
        const std::size_t centre = sound.frames() * (2 * column + 1) / (2 * columns);
        std::vector<double> part(kSize);
        for (std::size_t k = 0; k < kSize; ++k) {
            const std::size_t frame = centre + k - kSize / 2;  // before 0: beyond the end
            part[k] = frame < sound.frames() ? sound.at(frame, channel) : 0;
        }
        const std::vector<double> levels = spectrum_dbfs(part);
        std::string colour;
        std::size_t first = 0;
        for (std::size_t row = 0; row <= rows; ++row) {
            std::string next;
            if (row < rows) {
                const std::size_t bin = levels.size() * (rows - 1 - row) / rows;
                // Steps of 4 dB: the eye sees no more, and the file stays small.
                next = heat_colour(std::round((levels[bin] - kFloorDb) / 4) * 4 / -kFloorDb);
            }
            if (next != colour) {
                if (!colour.empty()) {
                    picture->rect(axes.left + static_cast<double>(column) * kCell,
                                  axes.top + static_cast<double>(first) * 2, kCell,
                                  static_cast<double>(row - first) * 2, colour);
                }
                colour = next;
                first = row;
            }
        }
    }
}

double round_step(double range) {
    const double power = std::pow(10, std::floor(std::log10(range / 5)));
    const double share = range / 5 / power;
    return power * (share > 5 ? 10 : share > 2 ? 5 : share > 1 ? 2 : 1);
}

}  // namespace

exit_code plot_filter(const std::string& out_file) {
    svg_picture picture(860, 720);
    const double dc = filter_gain_db(res_coeff, res_order, 0, 48000);
    char title[96];
    std::snprintf(title, sizeof(title), "48 to 16 kHz filter, %d taps, %.2f dB at 0 Hz", res_order,
                  dc);
    picture.text(70, 24, title);
    const svg_axes whole{70, 50, 760, 270, 0, 24, -140, 10};
    whole.draw(&picture, 2, 20, "kHz", "dB");
    draw_response(&picture, whole);
    // 98.9 dB below the gain at 0 Hz from the output's Nyquist frequency on.
    draw_limit(&picture, whole, 8, 24, dc - 98.9);
    picture.text(whole.x(16), whole.y(dc - 98.9) - 6, "stop band: 98.9 dB below 0 Hz", "middle");
    const svg_axes pass{70, 400, 760, 270, 0, 8, -1, 0};
    pass.draw(&picture, 0.5, 0.1, "kHz (pass band)", "dB");
    draw_response(&picture, pass);
    const double low = 20 * std::log10(0.9441);
    const double high = 20 * std::log10(0.9560);
    draw_limit(&picture, pass, 0, 7.2, low);
    draw_limit(&picture, pass, 0, 7.2, high);
    picture.text(pass.x(3.6), pass.y(high) - 6, "pass band: gain 0.9441 to 0.9560 up to 7.2 kHz",
                 "middle");
    return save(picture, out_file);
}

exit_code plot_recording(const std::string& in_file, const std::string& out_file) {
    std::error_code ignored;
    if (std::filesystem::equivalent(in_file, out_file, ignored)) {
        return fail(EXIT_USAGE, "the picture would overwrite " + in_file);
    }
    recording sound;
    const std::string wrong = load(in_file, &sound);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    constexpr double kChannelHeight = 320;
    const double seconds = static_cast<double>(sound.info.frames) / sound.info.samplerate;
    svg_picture picture(860, 40 + kChannelHeight * sound.info.channels);
    picture.text(70, 24,
                 in_file + ": " + std::to_string(sound.info.samplerate) + " Hz, " +
                     std::to_string(sound.info.channels) +
                     " channels; spectrogram black to white: -100 to 0 dBFS");
    for (int c = 0; c < sound.info.channels; ++c) {
        const double top = 60 + kChannelHeight * c;
        const svg_axes wave{70, top, 760, 80, 0, seconds, -1, 1};
        wave.draw(&picture, round_step(seconds), 1, "", "channel " + std::to_string(c));
        draw_waveform(&picture, wave, sound, c);
        const double khz = sound.info.samplerate / 2000.0;
        const svg_axes spectrum{70, top + 118, 760, 128, 0, seconds, 0, khz};
        spectrum.draw(&picture, round_step(seconds), round_step(khz), "seconds", "kHz");
        draw_spectrogram(&picture, spectrum, sound, c);
    }
    return save(picture, out_file);
}

exit_code plot_matrix(const matrix_options& options) {
    std::vector<double> weights;
    chain_report chain;
    {
        print_library_log(false);
        held_library_log log;
        weights = matrix_of_file(options.in_file, options.layout, options.in_channels,
                                 options.out_channels);
        for (const library_message& message : log.take()) {
            chain.add(message);
        }
    }
    warn_of_fallbacks(chain);
    constexpr double kCell = 56;
    constexpr double kFloorDb = -40;
    svg_picture picture(110 + kCell * options.in_channels + 20, 110 + kCell * options.out_channels);
    picture.text(20, 24,
                 options.layout + ", " + std::to_string(options.in_channels) + " to " +
                     std::to_string(options.out_channels) + " channels, gain in dB");
    picture.text(110 + kCell * options.in_channels / 2, 56, "card channel", "middle");
    for (unsigned int i = 0; i < options.in_channels; ++i) {
        picture.text(110 + kCell * (i + 0.5), 76, std::to_string(i), "middle");
    }
    for (unsigned int o = 0; o < options.out_channels; ++o) {
        const double top = 86 + kCell * o;
        picture.text(100, top + kCell / 2 + 4, "client " + std::to_string(o), "end");
        for (unsigned int i = 0; i < options.in_channels; ++i) {
            const double weight = weights[std::size_t{o} * options.in_channels + i];
            const double db = 20 * std::log10(std::fabs(weight));
            const double share = weight == 0 ? 0 : 1 - std::clamp(db / kFloorDb, 0.0, 0.9);
            char shade[8];
            const int light = 255 - static_cast<int>(share * 150);
            std::snprintf(shade, sizeof(shade), "#%02x%02x%02x", weight < 0 ? 255 : light, light,
                          weight < 0 ? light : 255);
            char words[16] = "";
            if (weight != 0) {
                std::snprintf(words, sizeof(words), "%.1f%s", db, weight < 0 ? " inv" : "");
            }
            picture.rect(110 + kCell * i, top, kCell - 2, kCell - 2, shade);
            picture.text(110 + kCell * (i + 0.5) - 1, top + kCell / 2 + 4, words, "middle");
        }
    }
    return save(picture, options.out_file);
}
