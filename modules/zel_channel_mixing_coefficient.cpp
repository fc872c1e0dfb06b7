// The mixing stage's coefficient file: which matrix of the file fits, and the identity when none
// does. Runs on the worker, once per init or layout change.

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "zel_channel_mixing.h"
#include "zel_coefficient_file.h"
#include "zel_log.h"

namespace {
constexpr const char* kTag = "zel_channel_mixing";
}

std::unique_ptr<char[]> zel_channel_mixing::get_cofficient_content(const char* path) {
    return std::move(::get_cofficient_content(path, kTag).text);
}

unsigned int zel_channel_mixing::channel_count(const std::string& layout) {
    unsigned int count = 0;
    const char* field = layout.c_str();
    while (true) {
        count += static_cast<unsigned int>(std::strtol(field, nullptr, 10));
        field = std::strchr(field, '.');
        if (field == nullptr) {
            return count;
        }
        ++field;
    }
}

int zel_channel_mixing::search_coefficient(const cJSON* root, unsigned int in_channels,
                                           const std::string& layout, unsigned int out_channels,
                                           cJSON** params) {
    const auto in = static_cast<int>(in_channels);
    const auto out = static_cast<int>(out_channels);
    s32Entry = -1;
    const cJSON* body = cJSON_GetObjectItem(root, strBodyKey.c_str());
    if (body == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no mixing coefficient body found");
        return -EINVAL;
    }
    const cJSON* match = nullptr;
    const int entries = cJSON_GetArraySize(body);
    const cJSON* entry = body->child;
    for (int i = 0; i < entries && match == nullptr; ++i, entry = entry->next) {
        s32Entry = i;
        if (entry == nullptr) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "get mixing body array index(%d) fail", i);
            return -EINVAL;
        }
        const cJSON* entry_in = cJSON_GetObjectItem(entry, strInChannelKey.c_str());
        if (!cJSON_IsNumber(entry_in)) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                          "get mixing body array input channel element fail");
            return -EINVAL;
        }
        const cJSON* entry_layout = cJSON_GetObjectItem(entry, strInLayoutKey.c_str());
        if (!cJSON_IsString(entry_layout)) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                          "get mixing body array input channel layout element fail");
            return -EINVAL;
        }
        const cJSON* entry_out = cJSON_GetObjectItem(entry, strOutChannelKey.c_str());
        if (!cJSON_IsNumber(entry_out)) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                          "get mixing body array output channel element fail");
            return -EINVAL;
        }
        if (zel_json_integer_part_is(entry_in, in_channels) &&
            std::strncmp(entry_layout->valuestring, layout.c_str(), layout.size()) == 0 &&
            zel_json_integer_part_is(entry_out, out_channels)) {
            match = entry;
        }
    }
    if (match == nullptr) {
        s32Entry = -1;
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "%d(%s) => %d mixing coefficient not found", in,
                      layout.c_str(), out);
        return -EINVAL;
    }
    const char* own_layout = cJSON_GetObjectItem(match, strInLayoutKey.c_str())->valuestring;
    if (channel_count(own_layout) > in_channels) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "mixing matrix \"%s\" channel layout more than input channel %d", own_layout,
                      in);
        return -EINVAL;
    }
    *params = cJSON_GetObjectItem(match, strParamKey.c_str());
    const int weights = *params == nullptr ? 0 : cJSON_GetArraySize(*params);
    if (static_cast<std::uint64_t>(weights) != std::uint64_t{in_channels} * out_channels) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing matrix %d(%s) => %d  size %d incorrect", in,
                      layout.c_str(), out, weights);
        return -EINVAL;
    }
    ZEL_LOG_PRINT(ANDROID_LOG_DEBUG, kTag, "use mixing coefficient %d(%s) => %d", in,
                  layout.c_str(), out);
    return 0;
}

int zel_channel_mixing::load_coefficient(const std::string& path, unsigned int in_channels,
                                         const std::string& layout, unsigned int out_channels) {
    ZEL_LOG_PRINT(ANDROID_LOG_DEBUG, kTag, "load coefficient %s", path.c_str());
    bUsed = false;
    s32Entry = -1;
    if (path.empty()) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "input file size is empty");
        return -EINVAL;
    }
    const std::unique_ptr<char[]> text = get_cofficient_content(path.c_str());
    if (!text) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "open mixing coefficient file %s fail",
                      path.c_str());
        return -EINVAL;
    }
    const auto in = static_cast<int>(in_channels);
    const auto out = static_cast<int>(out_channels);
    const char* error = nullptr;
    const zel_json_document root = zel_parse_json(text.get(), &error);
    const cJSON* enable = cJSON_GetObjectItem(root.get(), strEnableKey.c_str());
    cJSON* params = nullptr;
    if (!root) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing coefficient file %s parsing fail",
                      path.c_str());
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "Error before: [%s]", error);
    } else if (enable == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no mixing coefficient found");
    } else if (!cJSON_IsTrue(enable)) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing coefficient is disabled");
    } else if (search_coefficient(root.get(), in_channels, layout, out_channels, &params) != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "search mixing coefficient %d(%s) => %d fail", in,
                      layout.c_str(), out);
    } else if (fill_matrix(params, pf32Matrix.get()) == nullptr) {
        bUsed = true;
        return 0;
    } else {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "get mixing body array value fail");
    }
    ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag,
                  "load mixing coefficient %d(%s) => %d fail use default matrix", in,
                  layout.c_str(), out);
    fill_identity(in_channels, out_channels);
    return -EINVAL;
}

const cJSON* zel_channel_mixing::fill_matrix(const cJSON* params, float* weights) {
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, params) {
        const auto weight = static_cast<float>(element->valuedouble);
        if (!cJSON_IsNumber(element) || !std::isfinite(weight)) {
            return element;
        }
        *weights++ = weight;
    }
    return nullptr;
}

void zel_channel_mixing::fill_identity(unsigned int in_channels, unsigned int out_channels) {
    for (std::size_t o = 0; o < out_channels; ++o) {
        for (std::size_t i = 0; i < in_channels; ++i) {
            pf32Matrix[o * in_channels + i] = o == i ? f32One : f32Zero;
        }
    }
}
