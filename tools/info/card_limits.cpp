#include "card_limits.h"

#include <tinyalsa/pcm.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "zel_virtual_card.h"

card_limits read_card_limits() {
    card_limits limits;
    const std::unique_ptr<pcm_params, void (*)(pcm_params*)> params(
        pcm_params_get(kZelVirtualCard, kZelVirtualDevice, PCM_IN), pcm_params_free);
    if (!params) {
        return limits;
    }
    const struct {
        const char* name;
        const char* unit;
        pcm_param param;
    } asked[] = {{"rate", "Hz", PCM_PARAM_RATE},
                 {"channels", "", PCM_PARAM_CHANNELS},
                 {"bits", "", PCM_PARAM_SAMPLE_BITS},
                 {"period", "frames", PCM_PARAM_PERIOD_SIZE},
                 {"periods", "", PCM_PARAM_PERIODS}};
    for (std::size_t k = 0; k < std::size(asked); ++k) {
        limits.ranges[k] = {asked[k].name, asked[k].unit,
                            pcm_params_get_min(params.get(), asked[k].param),
                            pcm_params_get_max(params.get(), asked[k].param)};
    }
    limits.s16 = pcm_params_format_test(params.get(), PCM_FORMAT_S16_LE) != 0;
    limits.s32 = pcm_params_format_test(params.get(), PCM_FORMAT_S32_LE) != 0;
    limits.known = true;
    return limits;
}

void print_limits(const card_limits& limits) {
    std::printf("Limits of card 70, device 70 (capture)\n");
    if (!limits.known) {
        std::printf("  cannot be asked\n");
        return;
    }
    for (const card_limits::range& range : limits.ranges) {
        std::printf("  %-9s %u to %u%s%s\n", range.name, range.min, range.max,
                    *range.unit != '\0' ? " " : "", range.unit);
    }
    std::printf("  %-9s%s%s\n", "formats", limits.s16 ? " S16_LE" : "",
                limits.s32 ? " S32_LE" : "");
}

json_value limits_json(const card_limits& limits) {
    json_value json = json_value::object();
    if (!limits.known) {
        return json;
    }
    for (const card_limits::range& range : limits.ranges) {
        json_value pair = json_value::object();
        pair.set("min", range.min).set("max", range.max);
        json.set(range.name, std::move(pair));
    }
    json_value formats = json_value::array();
    if (limits.s16) {
        formats.append("S16_LE");
    }
    if (limits.s32) {
        formats.append("S32_LE");
    }
    json.set("formats", std::move(formats));
    return json;
}
