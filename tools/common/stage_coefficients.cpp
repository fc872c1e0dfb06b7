#include "stage_coefficients.h"

#include <android/log.h>
#include <tinyalsa/pcm.h>

#include <algorithm>

#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

namespace {

pcm_config stream(unsigned int channels, unsigned int rate) {
    pcm_config config{};
    config.channels = channels;
    config.rate = rate;
    config.format = PCM_FORMAT_S16_LE;
    return config;
}

}  // namespace

std::string taken_coefficients::reason() const {
    const auto first = std::find_if(log.begin(), log.end(), [](const library_message& message) {
        return message.priority >= ANDROID_LOG_WARN;
    });
    return first == log.end() ? "" : without_origin(first->text);
}

bool taken_weights::silent() const {
    return std::all_of(weights.begin(), weights.end(), [](float w) { return w == 0; });
}

taken_weights take_weights(const std::string& path, const std::string& layout, unsigned int in,
                           unsigned int out) {
    constexpr unsigned int kRate = 48000;  // no matter to the weights
    const pcm_config from = stream(in, kRate);
    const pcm_config to = stream(out, kRate);
    taken_weights taken;
    thread_library_log log;
    zel_channel_mixing stage;
    taken.status = stage.init(path, layout, &from, &to);
    taken.log = log.take();
    if (taken.status == 0) {
        const auto matrix = stage.matrix();
        taken.weights.assign(matrix.begin(), matrix.end());
        taken.used = stage.used();
        taken.entry = stage.entry();
    }
    return taken;
}

taken_delays take_delays(const std::string& path, unsigned int channels, unsigned int rate) {
    const pcm_config config = stream(channels, rate);
    taken_delays taken;
    thread_library_log log;
    zel_channel_delay stage;
    taken.status = stage.init(path, &config);
    taken.log = log.take();
    if (taken.status == 0) {
        // The stage keeps frames only; loading once more tells the milliseconds.
        taken.ms.resize(channels);
        unsigned int* table = taken.ms.data();
        stage.load_coefficient(path, &table, channels);
        taken.used = stage.used();
        taken.entry = stage.entry();
    }
    return taken;
}
