#include "mix_overloads.h"

#include <cmath>
#include <cstddef>
#include <deque>
#include <vector>

#include "audio_report.h"
#include "sound_file.h"

namespace {

class overload_count {
  public:
    overload_count(const chain_report& report, std::size_t file_channels)
        : chain(report), channels(file_channels), lines(report.card.channels) {
        const std::vector<unsigned int> delays = report.delay_frames();
        for (std::size_t c = 0; c < lines.size(); ++c) {
            lines[c].assign(delays[c], 0);
        }
    }

    void add(const double* frame) {
        const std::size_t inputs = lines.size();
        std::vector<double> delayed(inputs);
        const double full = chain.truncates || chain.card.word_bits == 16 ? 32768 : 2147483648;
        for (std::size_t c = 0; c < inputs; ++c) {
            lines[c].push_back(std::floor(frame[c % channels] * full));
            delayed[c] = lines[c].front();
            lines[c].pop_front();
        }
        for (std::size_t o = 0; o < chain.client.channels; ++o) {
            double sum = 0;
            for (std::size_t c = 0; c < inputs; ++c) {
                sum += static_cast<double>(chain.mixing.weights[o * inputs + c]) * delayed[c];
            }
            overloads += std::trunc(sum) < -full || std::trunc(sum) >= full ? 1U : 0U;
        }
    }
    std::uint64_t count() const { return overloads; }

  private:
    const chain_report& chain;
    std::size_t channels;
    std::vector<std::deque<double>> lines;
    std::uint64_t overloads = 0;
};

}  // namespace

std::uint64_t warn_of_overloads(const chain_report& chain, const std::string& file,
                                std::uint64_t frames) {
    sound_info sound;
    if (!read_sound(file, &sound).empty() || chain.mixing.weights.empty()) {
        return 0;
    }
    overload_count counter(chain, sound.channels);
    std::uint64_t left = frames;
    read_sound(file, &sound, [&](const double* samples, std::size_t count) {
        for (std::size_t f = 0; f < count && left > 0; ++f, --left) {
            counter.add(samples + f * sound.channels);
        }
    });
    if (counter.count() > 0) {
        warn(std::to_string(counter.count()) +
             " mixed samples are beyond full scale: 16-bit ones wrap round, 32-bit ones clip; "
             "zel-fc check tells which weights are too large");
    }
    return counter.count();
}
