// The delay stage's coefficient file: the delays for a channel count, all zero when it has none
// that can be used. Runs on the worker, once per init.

#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include "zel_channel_delay.h"
#include "zel_coefficient_file.h"
#include "zel_log.h"

namespace {
constexpr const char* kTag = "zel_channel_delay";
}

std::unique_ptr<char[]> zel_channel_delay::get_cofficient_content(const char* path) {
    return std::move(::get_cofficient_content(path, kTag).text);
}

int zel_channel_delay::search_coefficient(const cJSON* root, unsigned int channels,
                                          cJSON** params) {
    const auto count = static_cast<int>(channels);
    s32Entry = -1;
    const cJSON* body = cJSON_GetObjectItem(root, strBodyKey.c_str());
    if (body == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no delay coefficient body found");
        return -EINVAL;
    }
    const int entries = cJSON_GetArraySize(body);
    const cJSON* entry = body->child;
    for (int i = 0; i < entries; ++i, entry = entry->next) {
        s32Entry = i;
        if (entry == nullptr) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "get delay body array index(%d) fail", i);
            return -EINVAL;
        }
        const cJSON* entry_channels = cJSON_GetObjectItem(entry, strInChannelKey.c_str());
        if (!cJSON_IsNumber(entry_channels)) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                          "get delay body array input channel element fail");
            return -EINVAL;
        }
        if (!zel_json_integer_part_is(entry_channels, channels)) {
            continue;
        }
        *params = cJSON_GetObjectItem(entry, strParamKey.c_str());
        const int delays = *params == nullptr ? 0 : cJSON_GetArraySize(*params);
        if (delays != count) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "%d channel delay array size incorrect %d",
                          count, delays);
            return -EINVAL;
        }
        return 0;
    }
    s32Entry = -1;
    ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "%d channel delay coefficient not found", count);
    return -EINVAL;
}

int zel_channel_delay::load_coefficient(const std::string& path, unsigned int* const* table,
                                        unsigned int channels) {
    ZEL_LOG_PRINT(ANDROID_LOG_DEBUG, kTag, "load coefficient %s", path.c_str());
    bUsed = false;
    s32Entry = -1;
    const auto count = static_cast<int>(channels);
    const std::unique_ptr<char[]> text =
        path.empty() ? nullptr : get_cofficient_content(path.c_str());
    const char* error = nullptr;
    const zel_json_document root = zel_parse_json(text ? text.get() : "", &error);
    const cJSON* enable = cJSON_GetObjectItem(root.get(), strEnableKey.c_str());
    cJSON* params = nullptr;
    if (path.empty()) {
        ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag, "input file size is empty");
    } else if (!text) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "open delay coefficient file %s fail", path.c_str());
    } else if (!root) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay coefficient file %s parsing fail",
                      path.c_str());
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "Error before: [%s]", error);
    } else if (enable == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no delay coefficient found");
    } else if (!cJSON_IsTrue(enable)) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay coefficient is disabled");
    } else if (search_coefficient(root.get(), channels, &params) != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "search %d channel delay coefficient fail", count);
    } else if (const cJSON* wrong = fill_table(params, *table); wrong == nullptr) {
        bUsed = true;
        return 0;
    } else if (!cJSON_IsNumber(wrong)) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "get delay body array value fail");
    } else {
        int channel = 0;
        for (const cJSON* before = params->child; before != wrong; before = before->next) {
            ++channel;
        }
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay %g ms of channel %d is not between 0 and %d",
                      wrong->valuedouble, channel, static_cast<int>(kMaxDelayMs));
    }
    ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag,
                  "load %d channel delay coefficient fail use default matrix", count);
    for (unsigned int c = 0; c < channels; ++c) {
        (*table)[c] = 0;
    }
    return -EINVAL;
}

const cJSON* zel_channel_delay::fill_table(const cJSON* params, unsigned int* table) {
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, params) {
        const double ms = cJSON_IsNumber(element) ? std::trunc(element->valuedouble) : NAN;
        // Written so that a value that is not a number fails, too.
        if (!(ms >= 0 && ms <= kMaxDelayMs)) {
            return element;
        }
        *table++ = static_cast<unsigned int>(ms);
    }
    return nullptr;
}

int zel_channel_delay::create_delay_coefficient(const std::string& path, unsigned int** table,
                                                const pcm_config* config) {
    if (*table != nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay coefficient already exist");
        return -EINVAL;
    }
    try {
        auto delays = std::make_unique<unsigned int[]>(config->channels);
        unsigned int* values = delays.get();
        if (load_coefficient(path, &values, config->channels) != 0) {
            ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag, "delay coefficient load fail");
        }
        *table = delays.release();
    } catch (const std::bad_alloc&) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory for the delay coefficients");
        return -ENOMEM;
    }
    return 0;
}

int zel_channel_delay::destroy_delay_coefficient(unsigned int** table) {
    delete[] * table;
    *table = nullptr;
    return 0;
}
