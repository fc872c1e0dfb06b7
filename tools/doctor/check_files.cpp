// The coefficient files: whether they can be read, and which entry they give for the card as it is
// now, by the stages' own code.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "examination.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"
#include "zel_coefficient_file.h"

namespace {

constexpr const char* kTune =
    "docs/coefficient-files.md tells how to write it; zel-fc check what is wrong with it.";

/// What reading a file and looking for its entry gave.
struct outcome {
    bool readable = false;
    bool json = false;
    int entry = -1;     ///< that decided, from 0 on; -1: none
    bool used = false;  ///< all of it is right
    int error = 0;      ///< errno of reading
};

std::string words_of(const outcome& result, const std::string& path, const std::string& stream) {
    if (!result.json) {
        std::error_code ignored;
        return path + (std::filesystem::file_size(path, ignored) > kZelMaxTextFileBytes
                           ? " is larger than 1 MiB"
                           : " is not JSON");
    }
    if (result.used) {
        return path + ", entry " + std::to_string(result.entry) + ": " + stream;
    }
    return path + (result.entry < 0 ? " has no entry for " + stream
                                    : " is disabled, or its entry " + std::to_string(result.entry) +
                                          " is wrong");
}

/// Of a host, where the samples of an installed or built tool would do.
std::string export_line() {
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    const auto samples = program.parent_path().parent_path() / "share" / "zel_format_converter";
    return std::getenv("ZEL_VOICE_CONFIG_DIR") == nullptr &&
                   std::filesystem::is_directory(samples, ignored)
               ? " Or: export ZEL_VOICE_CONFIG_DIR=" + samples.string()
               : "";
}

void add_row(examination* found, const char* check, const std::string& path, const outcome& result,
             const std::string& stream, const char* unreadable, const char* otherwise) {
    if (!result.readable) {
        found->fail(check, path + ": " + std::strerror(result.error),
                    std::string(unreadable) +
                        " Put the file there, and let the process that captures read it." +
                        export_line());
    } else if (result.used) {
        found->pass(check, words_of(result, path, stream));
    } else {
        found->warn(check, words_of(result, path, stream), std::string(otherwise) + ' ' + kTune);
    }
}

template <typename Search>
outcome look_into(const std::unique_ptr<char[]>& text, int error, const Search& search) {
    outcome result;
    result.readable = text != nullptr;
    result.error = error != 0 ? error : EINVAL;  // a folder, say, opens and is no file
    const char* place = nullptr;
    const zel_json_document root = zel_parse_json(text ? text.get() : "", &place);
    result.json = root != nullptr;
    if (root) {
        search(root.get(), &result.entry);
    }
    return result;
}

void check_mixing_file(examination* found) {
    const unsigned int in = found->card_channels;
    const unsigned int out = found->client.channels;
    zel_channel_mixing stage;
    errno = 0;
    const auto text = stage.get_cofficient_content(found->mixing_file.c_str());
    outcome result = look_into(text, errno, [&](const cJSON* root, int* entry) {
        cJSON* weights = nullptr;
        stage.search_coefficient(root, in, found->layout, out, &weights);
        *entry = stage.entry();
    });
    pcm_config card{};
    card.channels = in;
    card.rate = found->card_rate;
    card.format = PCM_FORMAT_S16_LE;
    pcm_config client = card;
    client.channels = out;
    result.used = result.json &&
                  stage.init(found->mixing_file, found->layout, &card, &client) == 0 &&
                  stage.used();
    add_row(found, "mixing file", found->mixing_file, result,
            std::to_string(in) + " channels (" + found->layout + ") to " + std::to_string(out),
            "Clients get silence.", "The channels pass unmixed.");
}

void check_delay_file(examination* found) {
    const unsigned int channels = found->card_channels;
    zel_channel_delay stage;
    errno = 0;
    const auto text = stage.get_cofficient_content(found->delay_file.c_str());
    outcome result = look_into(text, errno, [&](const cJSON* root, int* entry) {
        cJSON* delays = nullptr;
        stage.search_coefficient(root, channels, &delays);
        *entry = stage.entry();
    });
    std::vector<unsigned int> table(channels);
    unsigned int* delays = table.data();
    result.used = result.json && stage.load_coefficient(found->delay_file, &delays, channels) == 0;
    add_row(found, "delay file", found->delay_file, result, std::to_string(channels) + " channels",
            "No channel is delayed.", "No channel is delayed.");
}

}  // namespace

void check_coefficient_files(examination* found) {
    if (found->card_channels == 0) {
        found->skip("mixing file", "the card's channels and layout");
        found->skip("delay file", "the card's channels");
        return;
    }
    check_mixing_file(found);
    check_delay_file(found);
}
