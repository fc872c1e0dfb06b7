// zel-fc plot: pictures as SVG files.

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>

#include "channel_layout.h"
#include "command_options.h"
#include "commands.h"
#include "level_meter.h"
#include "plot/svg_picture.h"
#include "stage_coefficients.h"
#include "zel_src_48k.h"

namespace {

constexpr const char* kCurve = "#1f4e9c";
constexpr const char* kLimit = "#c0392b";

/// Gain of the filter at a frequency, in dB over 1.
double filter_gain_db(double hz) {
    std::complex<double> sum = 0;
    for (int t = 0; t < res_order; ++t) {
        sum +=
            std::polar(static_cast<double>(res_coeff[t]), -2 * std::numbers::pi * hz / 48000 * t);
    }
    return 20 * std::log10(std::abs(sum));
}

/// Where the response is within the axes.
void draw_response(svg_picture* picture, const svg_axes& axes) {
    std::vector<std::pair<double, double>> points;
    for (double pixel = 0; pixel <= axes.width; pixel += 0.5) {
        const double khz = axes.x_min + pixel / axes.width * (axes.x_max - axes.x_min);
        const double gain = filter_gain_db(khz * 1000);
        if (gain >= axes.y_min && gain <= axes.y_max) {
            points.emplace_back(axes.x(khz), axes.y(gain));
        } else if (!points.empty()) {
            picture->polyline(points, kCurve);
            points.clear();
        }
    }
    picture->polyline(points, kCurve);
}

std::string gain_text(double gain) {
    return gain == 0 ? ""
                     : decibels_text(20 * std::log10(std::fabs(gain))) + (gain < 0 ? " inv" : "");
}

/// White for nothing to blue for 0 dB and more, red where it is inverted.
std::string gain_colour(double gain) {
    constexpr double kFloorDb = -40;
    const double db = 20 * std::log10(std::fabs(gain));
    const double share = gain == 0 ? 0 : 1 - std::clamp(db / kFloorDb, 0.0, 0.9);
    const int light = 255 - static_cast<int>(share * 150);
    return fmt::format("#{:02x}{:02x}{:02x}", gain < 0 ? 255 : light, light,
                       gain < 0 ? light : 255);
}

struct matrix_options {
    std::string in_file;
    std::string out_file;
    card_setup card;  ///< its channels and layout
    unsigned int out_channels = 2;
};

/// The 48 to 16 kHz filter's frequency response, whole and the pass band, against its limits.
exit_code plot_filter(const std::string& out_file) {
    check_output(out_file, ".svg", {});
    svg_picture picture(860, 720);
    const double dc = filter_gain_db(0);
    picture.text(70, 24,
                 fmt::format("48 to 16 kHz filter, {} taps, {:.2f} dB at 0 Hz", res_order, dc));
    // A limit from one frequency to another.
    const auto draw_limit = [&](const svg_axes& axes, double from_khz, double to_khz, double db) {
        picture.line(axes.x(from_khz), axes.y(db), axes.x(to_khz), axes.y(db), kLimit, true);
    };
    const svg_axes whole{70, 50, 760, 270, 0, 24, -140, 10};
    whole.draw(&picture, 2, 20, "kHz", "dB");
    draw_response(&picture, whole);
    // 98.9 dB below the gain at 0 Hz from the output's Nyquist frequency on.
    draw_limit(whole, 8, 24, dc - 98.9);
    picture.text(whole.x(16), whole.y(dc - 98.9) - 6, "stop band: 98.9 dB below 0 Hz", "middle");
    const svg_axes pass{70, 400, 760, 270, 0, 8, -1, 0};
    pass.draw(&picture, 0.5, 0.1, "kHz (pass band)", "dB");
    draw_response(&picture, pass);
    const double low = 20 * std::log10(0.9441);
    const double high = 20 * std::log10(0.9560);
    draw_limit(pass, 0, 7.2, low);
    draw_limit(pass, 0, 7.2, high);
    picture.text(pass.x(3.6), pass.y(high) - 6, "pass band: gain 0.9441 to 0.9560 up to 7.2 kHz",
                 "middle");
    picture.save(out_file);
    return EXIT_OK;
}

/// The matrix that the mixing stage takes from a file, as a map of gains.
exit_code plot_matrix(const matrix_options& options) {
    check_output(options.out_file, ".svg", {options.in_file});
    const card_setup card = complete(options.card);
    const auto inputs = static_cast<unsigned int>(card.channels);
    const taken_weights taken =
        take_weights(options.in_file, card.layout, inputs, options.out_channels);
    if (taken.status != 0) {
        return fail(EXIT_OPEN, "no stage for that many channels");
    }
    constexpr double kCell = 56;
    constexpr double kLeft = 110;
    constexpr double kTop = 136;
    svg_picture picture(std::max(kLeft + kCell * (inputs + 1) + 20, 420.0),
                        kTop + kCell * options.out_channels + 24);
    picture.text(20, 24, options.in_file);
    picture.text(20, 44,
                 fmt::format("{}, {} to {}, gain in dB", card.layout, inputs,
                             channels_text(options.out_channels)));
    if (!taken.used) {
        const std::string instead = taken.silent() ? "silence" : "the identity matrix";
        picture.text(20, 64, "not of the file: " + instead);
        picture.text(20, 84, taken.reason());
        warn("the mixing file is not in use (" + taken.reason() + "): this is " + instead);
    }
    const auto names = channel_names(card.layout);
    const auto out_names = output_names(options.out_channels, names);
    picture.text(kLeft + kCell * inputs / 2, kTop - 26, "card channel", "middle");
    for (unsigned int i = 0; i < inputs; ++i) {
        picture.text(kLeft + kCell * (i + 0.5), kTop - 8, channel_text(i, names), "middle");
    }
    picture.text(kLeft + kCell * (inputs + 0.5), kTop - 8, "sum", "middle");
    for (unsigned int o = 0; o < options.out_channels; ++o) {
        const double top = kTop + kCell * o;
        picture.text(kLeft - 10, top + kCell / 2 + 4, "client " + channel_text(o, out_names),
                     "end");
        double sum = 0;
        for (unsigned int i = 0; i < inputs; ++i) {
            const auto weight = static_cast<double>(taken.weights[std::size_t{o} * inputs + i]);
            sum += std::fabs(weight);
            picture.rect(kLeft + kCell * i, top, kCell - 2, kCell - 2, gain_colour(weight));
            picture.text(kLeft + kCell * (i + 0.5) - 1, top + kCell / 2 + 4, gain_text(weight),
                         "middle");
        }
        picture.text(kLeft + kCell * (inputs + 0.5), top + kCell / 2 + 4,
                     sum == 0 ? "none" : gain_text(sum), "middle");
    }
    picture.save(options.out_file);
    return EXIT_OK;
}

}  // namespace

void add_plot_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<matrix_options>();
    CLI::App* plot = app->add_subcommand("plot", "Draw pictures as SVG files");
    plot->require_subcommand(1);
    plot->footer(
        "Examples:\n"
        "  zel-fc plot filter filter.svg\n"
        "  zel-fc plot matrix mixing.json map.svg --card-channels 6 --card-layout 5.1");
    CLI::App* filter =
        plot->add_subcommand("filter", "Draw the 48 to 16 kHz filter's response and its limits");
    CLI::App* matrix = plot->add_subcommand(
        "matrix", "Draw the matrix that the mixing stage takes from a coefficient file");
    matrix->add_option("in", options->in_file, "Mixing coefficient file")
        ->required()
        ->check(CLI::ExistingFile);
    for (CLI::App* one : {filter, matrix}) {
        one->add_option("out", options->out_file, "SVG file to write")->required();
        one->footer("");
    }
    matrix
        ->add_option("--card-channels", options->card.channels,
                     "Card's channels (1 to 16; default: 8, or by the layout)")
        ->check(CLI::Range(1, 16));
    matrix->add_option("-c,--channels", options->out_channels, "Client's channels (1 to 8)")
        ->check(CLI::Range(1, 8))
        ->capture_default_str();
    matrix->add_option("--card-layout", options->card.layout,
                       "Card's layout (default: by the channels)");
    filter->callback([=] { *action = [=] { return plot_filter(options->out_file); }; });
    matrix->callback([=] {
        const bool named = options->card.channels != 0 || !options->card.layout.empty();
        options->card.channels = named ? options->card.channels : 8;
        *action = [=] { return plot_matrix(*options); };
    });
}
