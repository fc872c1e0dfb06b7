// The coefficient files: whether they can be read, and which entry they give for the card as it is
// now, by the stages' own code.

#include <cerrno>
#include <cstring>

#include "examination.h"
#include "program_folder.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"
#include "zel_coefficient_file.h"

namespace {

/// `used` and `entry` are the stage's.
void add_row(examination* found, const char* check, const std::string& path, bool used, int entry,
             const std::string& stream, const std::string& unreadable,
             const std::string& otherwise) {
    errno = 0;
    const zel_text_file file = zel_read_text_file(path.c_str());
    const int error = errno != 0 ? errno : EINVAL;  // a folder, say, opens and is no file
    if (!file.text) {
        const std::string samples = sample_folder();
        found->judge(check, false, path + ": " + std::strerror(error),
                     unreadable + (samples.empty()
                                       ? " Put the file there, and let the process that captures "
                                         "read it."
                                       : " On a host: export ZEL_VOICE_CONFIG_DIR=" + samples));
        return;
    }
    const char* place = nullptr;
    const std::string number = std::to_string(entry);
    const char* large =
        file.status == zel_text_status::too_large ? " is larger than 1 MiB" : nullptr;
    found->judge(check, true,
                 path + (large != nullptr                           ? large
                         : !zel_parse_json(file.text.get(), &place) ? " is not JSON"
                         : used      ? ", entry " + number + ": " + stream
                         : entry < 0 ? " is disabled or has no entry for " + stream
                                     : ": its entry " + number + " is wrong"),
                 otherwise +
                     " docs/coefficient-files.md tells how to write it; zel-fc check what "
                     "is wrong with it.",
                 !used);
}

}  // namespace

void check_coefficient_files(examination* found) {
    const card_state& state = found->card;
    if (!state.known) {
        found->skip({"mixing file", "delay file"}, "the card's channels and layout");
        return;
    }
    pcm_config card{};
    card.channels = state.channels;
    card.rate = state.rate;
    card.format = PCM_FORMAT_S16_LE;
    pcm_config client = card;
    client.channels = found->client.channels;
    zel_channel_mixing mixing;
    const bool mixes = mixing.init(state.mixing_path, state.layout, &card, &client) == 0;
    zel_channel_delay delay;
    const bool delays = delay.init(state.delay_path, &card) == 0;
    const std::string stream = std::to_string(card.channels) + " channels";
    add_row(found, "mixing file", state.mixing_path, mixes && mixing.used(), mixing.entry(),
            stream + " (" + state.layout + ") to " + std::to_string(client.channels),
            "Clients get silence.", "The channels pass unmixed.");
    add_row(found, "delay file", state.delay_path, delays && delay.used(), delay.entry(), stream,
            "No channel is delayed.", "No channel is delayed.");
}
