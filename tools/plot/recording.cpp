#include <algorithm>
#include <cmath>
#include <vector>

#include "output_file.h"
#include "plot.h"
#include "sound_file.h"
#include "spectrum.h"
#include "svg_picture.h"

namespace {

constexpr double kFloorDb = -100;
constexpr double kLowestHz = 50;

struct recording {
    sound_info info;
    std::vector<double> samples;  ///< interleaved, full scale 1

    double at(std::size_t frame, unsigned int channel) const {
        return samples[frame * info.channels + channel];
    }
};

/// The frame at `part` of `parts` of the sound. A product of frames needs 64 bits.
std::size_t frame_at(const recording& sound, std::size_t part, std::size_t parts) {
    return static_cast<std::size_t>(sound.info.frames * part / parts);
}

/// Lowest and highest sample of each pixel's frames; what is beyond full scale ends at the frame.
void draw_waveform(svg_picture* picture, const svg_axes& axes, const recording& sound,
                   unsigned int channel) {
    const auto columns = static_cast<std::size_t>(axes.width);
    for (std::size_t column = 0; column < columns; ++column) {
        const std::size_t begin = frame_at(sound, column, columns);
        const std::size_t end = std::max(frame_at(sound, column + 1, columns), begin + 1);
        double low = 1;
        double high = -1;
        for (std::size_t f = begin; f < end && f < sound.info.frames; ++f) {
            low = std::clamp(sound.at(f, channel), -1.0, low);
            high = std::clamp(sound.at(f, channel), high, 1.0);
        }
        if (low <= high) {
            picture->rect(axes.left + static_cast<double>(column), axes.y(high), 1,
                          std::max(axes.y(low) - axes.y(high), 1.0), kPlotCurve);
        }
    }
}

/// A spectrum every four pixels, cells of equal colour drawn as one.
void draw_spectrogram(svg_picture* picture, const svg_axes& axes, const recording& sound,
                      unsigned int channel) {
    // At least 30 ms: two bins of speech's lowest tones.
    std::size_t size = 512;
    while (size * 1000 < std::size_t{30} * sound.info.rate) {
        size *= 2;
    }
    constexpr double kCell = 4;
    const auto columns = static_cast<std::size_t>(axes.width / kCell);
    const auto rows = static_cast<std::size_t>(axes.height / 2);
    for (std::size_t column = 0; column < columns; ++column) {
        const std::size_t centre = frame_at(sound, 2 * column + 1, 2 * columns);
        std::vector<double> part(size);
        for (std::size_t k = 0; k < size; ++k) {
            const std::size_t frame = centre + k - size / 2;  // before 0: beyond the end
            part[k] = frame < sound.info.frames ? sound.at(frame, channel) : 0;
        }
        const std::vector<double> levels = spectrum_dbfs(part);
        std::string colour;
        std::size_t first = 0;
        for (std::size_t row = 0; row <= rows; ++row) {
            std::string next;
            if (row < rows) {
                const double hz = axes.y_value(axes.top + 2 * (static_cast<double>(row) + 0.5));
                const auto bin =
                    static_cast<std::size_t>(hz / sound.info.rate * static_cast<double>(size));
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

/// The spectrogram's colours, beside it.
void draw_colours(svg_picture* picture, double left, double top, double height) {
    constexpr int kSteps = 25;
    for (int step = 0; step <= kSteps; ++step) {
        const double share = static_cast<double>(step) / kSteps;
        const double y = top + (1 - share) * (height - 5);
        picture->rect(left, y, 12, height / kSteps + 1, heat_colour(share));
        if (step % 5 == 0) {
            picture->text(left + 16, y + 8, std::to_string(step * 4 - 100));
        }
    }
    picture->text(left, top - 6, "dBFS");
}

double round_step(double range) {
    const double power = std::pow(10, std::floor(std::log10(range / 5)));
    const double share = range / 5 / power;
    return power * (share > 5 ? 10 : share > 2 ? 5 : share > 1 ? 2 : 1);
}

}  // namespace

exit_code plot_recording(const std::string& in_file, const std::string& out_file) {
    if (keep_inputs(out_file, {in_file}) != EXIT_OK) {
        return EXIT_USAGE;
    }
    constexpr std::size_t kMostSamples = std::size_t{1} << 27;
    recording sound;
    const std::string wrong =
        read_sound(in_file, &sound.info, [&](const double* frames, std::size_t count) {
            if (sound.samples.size() < kMostSamples) {
                sound.samples.insert(sound.samples.end(), frames,
                                     frames + count * sound.info.channels);
            }
        });
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    if (sound.samples.size() < sound.info.frames * sound.info.channels) {
        return fail(EXIT_OPEN, in_file + ": too long to be drawn");
    }
    constexpr double kChannelHeight = 320;
    const double seconds = static_cast<double>(sound.info.frames) / sound.info.rate;
    svg_picture picture(900, 40 + kChannelHeight * sound.info.channels);
    picture.text(70, 24, sound.info.text(in_file));
    for (unsigned int c = 0; c < sound.info.channels; ++c) {
        const double top = 60 + kChannelHeight * c;
        const svg_axes wave{70, top, 760, 80, 0, seconds, -1, 1};
        wave.draw(&picture, round_step(seconds), 1, "", "channel " + std::to_string(c));
        draw_waveform(&picture, wave, sound, c);
        const svg_axes spectrum{
            70, top + 118, 760, 128, 0, seconds, kLowestHz, sound.info.rate / 2.0, true};
        spectrum.draw(&picture, round_step(seconds), 0, "seconds", "Hz");
        draw_spectrogram(&picture, spectrum, sound, c);
        draw_colours(&picture, 842, top + 118, 128);
    }
    return save_picture(picture, out_file);
}
