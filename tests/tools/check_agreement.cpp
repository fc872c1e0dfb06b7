#include "check_agreement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "stream_config.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {

constexpr std::int32_t kImpulse = 1 << 20;
constexpr unsigned int kLongestDelay = 10'000;  // ms

unsigned int bytes(const std::vector<std::int32_t>& samples) {
    return static_cast<unsigned int>(samples.size() * sizeof(samples[0]));
}

/// What the mixing stage makes of an impulse in each input: a row for each output.
std::vector<std::int32_t> mixed_impulses(const std::string& path, const stream_request& stream) {
    const pcm_config in = zel_test::stream_config(stream.channels, 48000, PCM_FORMAT_S32_LE);
    const pcm_config out = zel_test::stream_config(stream.outputs, 48000, PCM_FORMAT_S32_LE);
    std::vector<std::int32_t> impulses(std::size_t{stream.channels} * stream.channels);
    for (std::size_t i = 0; i < stream.channels; ++i) {
        impulses[i * stream.channels + i] = kImpulse;
    }
    std::vector<std::int32_t> mixed(std::size_t{stream.channels} * stream.outputs);
    zel_fc_lib_mixing_init(path, stream.layout, &in, &out);
    zel_fc_lib_mixing_process(impulses.data(), bytes(impulses), mixed.data(), bytes(mixed));
    zel_fc_lib_mixing_deinit();
    std::vector<std::int32_t> rows(mixed.size());
    for (std::size_t f = 0; f < stream.channels; ++f) {
        for (std::size_t o = 0; o < stream.outputs; ++o) {
            rows[o * stream.channels + f] = mixed[f * stream.outputs + o];
        }
    }
    return rows;
}

/// At 1000 Hz a frame is a millisecond: when an impulse in every channel comes out of the stage.
std::vector<unsigned int> measured_delays(const std::string& path, unsigned int channels) {
    const pcm_config config = zel_test::stream_config(channels, 1000, PCM_FORMAT_S32_LE);
    std::vector<std::int32_t> in(std::size_t{kLongestDelay + 1} * channels);
    std::fill_n(in.begin(), channels, kImpulse);
    std::vector<std::int32_t> out(in.size());
    zel_fc_lib_delay_init(path.c_str(), &config);
    zel_fc_lib_delay_process(in.data(), out.data(), static_cast<int>(bytes(in)));
    zel_fc_lib_delay_deinit();
    std::vector<unsigned int> delays(channels);
    for (std::size_t k = 0; k < out.size(); ++k) {
        if (out[k] != 0) {
            delays[k % channels] = static_cast<unsigned int>(k / channels);
        }
    }
    return delays;
}

bool is_identity(const decision& decided) {
    const std::size_t inputs = decided.request.channels;
    for (std::size_t k = 0; k < decided.weights.size(); ++k) {
        if (decided.weights[k] != (k / inputs == k % inputs ? 1.0F : 0.0F)) {
            return false;
        }
    }
    return true;
}

bool has_error(const file_report& report) {
    return std::any_of(report.findings.begin(), report.findings.end(),
                       [](const finding& f) { return f.level == severity::error; });
}

/// Every fallback has its reason, every reason its fallback, and each lies in the text.
std::string unexplained(const file_report& report) {
    const bool used = report.decided->used;
    for (const finding& found : report.findings) {
        if (found.what.empty() || found.device.empty() || found.mend.empty()) {
            return found.kind + " says nothing";
        }
        if (report.readable && (found.place.line == 0 || found.place.column == 0)) {
            return found.kind + " has no place";
        }
    }
    // Of a file with too many problems, only the first are looked at.
    if (report.complete && has_error(report) == used) {
        return used ? "an error, but the file is used" : "no error, but the file is not used";
    }
    return "";
}

check_request request_for(file_kind kind, const stream_request& stream) {
    check_request request;
    request.kind = kind;
    request.stream = stream;
    request.all = false;
    return request;
}

}  // namespace

std::string zel_test::mixing_disagreement(const std::string& path, const stream_request& stream) {
    const file_report report = check_file(path, request_for(file_kind::mixing, stream));
    const decision& decided = *report.decided;
    const std::vector<std::int32_t> measured = mixed_impulses(path, stream);
    if (measured.size() != decided.weights.size()) {
        return "another number of weights";
    }
    for (std::size_t k = 0; k < measured.size(); ++k) {
        const double exact = std::trunc(static_cast<double>(decided.weights[k]) * kImpulse);
        if (measured[k] !=
            static_cast<std::int32_t>(std::clamp(exact, -2147483648.0, 2147483647.0))) {
            return "weight " + std::to_string(k) + " is another one";
        }
    }
    if (decided.used != (decided.result == outcome::entry)) {
        return "used, but not by an entry, or the other way round";
    }
    if (decided.result == outcome::identity && !is_identity(decided)) {
        return "not the identity";
    }
    if (decided.result == outcome::silence &&
        std::any_of(measured.begin(), measured.end(), [](std::int32_t s) { return s != 0; })) {
        return "not silent";
    }
    return unexplained(report);
}

std::string zel_test::delay_disagreement(const std::string& path, const stream_request& stream) {
    const file_report report = check_file(path, request_for(file_kind::delay, stream));
    const decision& decided = *report.decided;
    if (measured_delays(path, stream.channels) != decided.delays_ms) {
        return "other delays";
    }
    const bool any = std::any_of(decided.delays_ms.begin(), decided.delays_ms.end(),
                                 [](unsigned int ms) { return ms > 0; });
    if ((decided.result == outcome::delays) != any) {
        return "bypass without cause, or the other way round";
    }
    return unexplained(report);
}
