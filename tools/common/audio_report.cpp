#include "audio_report.h"

#include <cstdio>

namespace {

const char* name_of(chain_report::mixing mix) {
    switch (mix) {
        case chain_report::mixing::file:
            return "file";
        case chain_report::mixing::identity:
            return "identity";
        case chain_report::mixing::silence:
            return "silence";
        default:
            return "unknown";
    }
}

const char* name_of(chain_report::delay delays) {
    switch (delays) {
        case chain_report::delay::file:
            return "file";
        case chain_report::delay::bypass:
            return "bypass";
        default:
            return "unknown";
    }
}

json_value file_json(const char* use, const std::string& path, const std::string& reason) {
    json_value file = json_value::object();
    file.set("in_use", use).set("file", path);
    if (!reason.empty()) {
        file.set("reason", reason);
    }
    return file;
}

void warn(const std::string& text) {
    if (!text.empty()) {
        std::fprintf(stderr, "zel-fc: warning: %s\n", text.c_str());
    }
}

}  // namespace

void print_levels(const level_meter& level) {
    std::printf("channel     level      peak\n");
    for (unsigned int c = 0; c < level.channels(); ++c) {
        std::printf("%7u %6.1f dBFS %4.1f dBFS\n", c, level.rms_dbfs(c), level.peak_dbfs(c));
    }
}

json_value levels_json(const level_meter& level) {
    json_value levels = json_value::array();
    for (unsigned int c = 0; c < level.channels(); ++c) {
        json_value one = json_value::object();
        one.set("channel", c)
            .set("level_dbfs", level.rms_dbfs(c))
            .set("peak_dbfs", level.peak_dbfs(c));
        levels.append(std::move(one));
    }
    return levels;
}

void print_chain(const chain_report& chain) {
    std::printf("card: %u channels, %u-bit words, %u Hz\nchain: %s\n", chain.card_channels,
                chain.card_bits, chain.card_rate, chain.stages().c_str());
}

json_value chain_json(const chain_report& chain) {
    json_value json = json_value::object();
    if (!chain.built) {
        return json;
    }
    json_value card = json_value::object();
    card.set("channels", chain.card_channels)
        .set("word_bits", chain.card_bits)
        .set("rate", chain.card_rate);
    json_value stages = json_value::object();
    stages.set("truncation", chain.truncates)
        .set("delay", true)
        .set("mixing", true)
        .set("rate_conversion", chain.converts_rate)
        .set("padding", chain.pads);
    json.set("card", std::move(card))
        .set("stages", std::move(stages))
        .set("mixing",
             file_json(name_of(chain.mix), chain.mixing_path,
                       chain.mix == chain_report::mixing::file ? "" : chain.mixing_reason))
        .set("silent_blocks", chain.silent_blocks)
        .set("delay", file_json(name_of(chain.delays), chain.delay_path, chain.delay_reason));
    return json;
}

void warn_of_fallbacks(const chain_report& chain) {
    warn(chain.mixing_warning());
    warn(chain.delay_warning());
    warn(chain.silence_warning());
}
