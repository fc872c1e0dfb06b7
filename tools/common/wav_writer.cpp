#include "wav_writer.h"

bool wav_writer::open(const std::string& path, unsigned int rate, unsigned int channels,
                      unsigned int bits) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = static_cast<int>(channels);
    wide = bits == 32;
    info.format = SF_FORMAT_WAV | (wide ? SF_FORMAT_PCM_32 : SF_FORMAT_PCM_16);
    file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        message = path + ": " + sf_strerror(nullptr);
        return false;
    }
    sf_command(file, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    return true;
}

bool wav_writer::add(const void* frames, std::size_t count) {
    const auto wanted = static_cast<sf_count_t>(count);
    const sf_count_t written =
        wide ? sf_writef_int(file, static_cast<const int*>(frames), wanted)
             : sf_writef_short(file, static_cast<const short*>(frames), wanted);
    if (written != wanted) {
        message = sf_strerror(file);
    }
    return written == wanted;
}

bool wav_writer::close() {
    const bool kept = file == nullptr || sf_close(file) == 0;
    file = nullptr;
    return kept;
}
