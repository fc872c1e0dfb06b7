#include "wav_info.h"

#include <sndfile.h>

std::string read_wav_info(const std::string& path, wav_info* info) {
    SF_INFO found{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &found);
    if (file == nullptr) {
        return path + ": " + sf_strerror(nullptr);
    }
    sf_close(file);
    if (found.frames <= 0) {
        return path + ": no audio in it";
    }
    info->channels = static_cast<unsigned int>(found.channels);
    info->rate = static_cast<unsigned int>(found.samplerate);
    info->frames = static_cast<std::uint64_t>(found.frames);
    switch (found.format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_PCM_24:
            info->bits = 24;
            break;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_FLOAT:
        case SF_FORMAT_DOUBLE:
            info->bits = 32;
            break;
        default:
            info->bits = 16;
    }
    return "";
}
