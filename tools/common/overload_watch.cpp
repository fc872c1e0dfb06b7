#include "overload_watch.h"

#include <fmt/format.h>

#include "command_end.h"

overload_watch::overload_watch(const chain_report& chain, const std::string& path)
    : converts_rate(chain.converts_rate),
      narrow(chain.truncates || chain.card.word_bits == 16),
      shift((chain.card.low_bytes ? 8U : 0U) + (narrow ? 16U : 1U)),
      ins(chain.card.channels),
      outs(chain.client.channels),
      file(path) {
    thread_library_log ignored;
    pcm_config in{};
    in.channels = ins;
    in.rate = chain.card.rate;
    in.format = PCM_FORMAT_S32_LE;
    pcm_config out = in;
    out.channels = outs;
    works = file.channels() > 0 && delay.init(chain.card.delay_path, &in) == 0 &&
            mixing.init(chain.card.mixing_path, chain.card.layout, &in, &out) == 0;
}

void overload_watch::play(std::size_t frames) {
    if (!works) {
        return;
    }
    const std::vector<std::int32_t>& played = file.read(frames);
    const std::size_t channels = file.channels();
    std::vector<std::int32_t> words(frames * ins), delayed(words.size()), sums(frames * outs);
    for (std::size_t k = 0; k < words.size(); ++k) {
        words[k] = played[k / ins * channels + k % ins % channels] >> shift;
    }
    const auto bytes_of = [](const auto& block) {
        return static_cast<unsigned int>(block.size() * sizeof(block[0]));
    };
    delay.process(words.data(), delayed.data(), static_cast<int>(bytes_of(words)));
    mixing.process(delayed.data(), bytes_of(delayed), sums.data(), bytes_of(sums));
    const std::int32_t high = narrow ? 32767 : 1 << 30;
    const std::int32_t low = narrow ? -32768 : -high;
    for (const std::int32_t sum : sums) {
        overloads += sum < low || sum > high ? 1 : 0;
    }
}

void overload_watch::tell(std::uint64_t full_scale) const {
    if (file.clipped() > 0) {
        warn(fmt::format("{} samples of the file are beyond full scale; a card clips them",
                         file.clipped()));
    }
    if (overloads > 0) {
        warn(
            fmt::format("{} mixed samples are beyond full scale: 16-bit ones wrap round, 32-bit "
                        "ones clip; zel-fc check tells which weights are too large",
                        overloads));
    } else if (converts_rate && full_scale > 0) {
        warn(
            fmt::format("{} samples are at full scale behind the 48 to 16 kHz filter, which clips "
                        "there",
                        full_scale));
    }
}
