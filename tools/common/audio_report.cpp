#include "audio_report.h"

#include <cstdio>

namespace {

json_value file_json(const char* use, const std::string& path, const taken_coefficients& taken) {
    json_value file = json_value::object();
    file.set("in_use", use).set("file", path);
    if (!taken.used) {
        file.set("reason", taken.reason());
    }
    return file;
}

}  // namespace

void warn(const std::string& text) {
    std::fprintf(stderr, "zel-fc: warning: %s\n", text.c_str());
}

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
    std::printf("card: %u channels, %u-bit words, %u Hz, layout %s\nchain: %s\n",
                chain.card.channels, chain.card.word_bits, chain.card.rate,
                chain.card.layout.c_str(), chain.stages().c_str());
    std::printf("mixing: %s of %s\ndelay: %s of %s\n", chain.mixing_use(),
                chain.card.mixing_path.c_str(), chain.delay_use(), chain.card.delay_path.c_str());
}

json_value chain_json(const chain_report& chain) {
    json_value json = json_value::object();
    if (!chain.card.known) {
        return json;
    }
    json_value card = json_value::object();
    card.set("channels", chain.card.channels)
        .set("layout", chain.card.layout)
        .set("word_bits", chain.card.word_bits)
        .set("rate", chain.card.rate);
    json_value stages = json_value::object();
    stages.set("truncation", chain.truncates)
        .set("delay", true)
        .set("mixing", true)
        .set("rate_conversion", chain.converts_rate)
        .set("padding", chain.pads);
    json_value warnings = json_value::array();
    for (const std::string& text : chain.warnings()) {
        warnings.append(text);
    }
    json.set("card", std::move(card))
        .set("stages", std::move(stages))
        .set("mixing", file_json(chain.mixing_use(), chain.card.mixing_path, chain.mixing))
        .set("delay", file_json(chain.delay_use(), chain.card.delay_path, chain.delay))
        .set("audio_share", chain.audio_share)
        .set("warnings", std::move(warnings));
    return json;
}

void warn_of(const chain_report& chain) {
    for (const std::string& text : chain.warnings()) {
        warn(text);
    }
}
