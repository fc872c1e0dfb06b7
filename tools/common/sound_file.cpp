#include "sound_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

namespace {

/// libsndfile takes what is there for the whole; only its log tells of a header that says more.
/// Sizes that a writer into a pipe leaves don't count.
bool data_is_cut(SndfileHandle& file) {
    std::vector<char> log(16384);
    file.command(SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
    const char* data = std::strstr(log.data(), "data : ");
    unsigned long long said = 0;
    unsigned long long there = 0;
    constexpr unsigned long long kOpenEnd = 0x7FFFFFFF;
    return data != nullptr &&
           std::sscanf(data, "data : %llu (should be %llu)", &said, &there) == 2 && said > there &&
           said < kOpenEnd;
}

void set_width(int format, sound_info* info) {
    info->bits = 16;
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            info->encoding = "8 bits";
            return;
        case SF_FORMAT_PCM_16:
            info->encoding = "16 bits";
            return;
        case SF_FORMAT_PCM_24:
            info->bits = 24;
            info->encoding = "24 bits";
            return;
        case SF_FORMAT_PCM_32:
            info->bits = 32;
            info->encoding = "32 bits";
            return;
        case SF_FORMAT_FLOAT:
        case SF_FORMAT_DOUBLE:
            info->bits = 32;
            break;
        default:
            break;
    }
    SF_FORMAT_INFO named{};
    named.format = format & SF_FORMAT_SUBMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &named, sizeof(named));
    info->encoding = named.name != nullptr ? named.name : "unknown encoding";
}

}  // namespace

std::string sound_info::text(const std::string& path) const {
    char figures[96];
    std::snprintf(figures, sizeof(figures), ": %llu frames, %.3f s, %u Hz, %u channels, ",
                  static_cast<unsigned long long>(frames), static_cast<double>(frames) / rate, rate,
                  channels);
    return path + figures + encoding;
}

std::string read_sound(const std::string& path, sound_info* info, const sound_sink& sink) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        return path + ": not a file that can be read more than once";
    }
    SndfileHandle file(path);
    if (file.error() != SF_ERR_NO_ERROR) {
        return path + ": " + file.strError();
    }
    if (file.frames() <= 0) {
        return path + ": no audio in it";
    }
    if (file.seek(1, SEEK_SET) != 1 || file.seek(0, SEEK_SET) != 0) {
        return path + ": its encoding cannot be played from any place; convert it to PCM first";
    }
    info->channels = static_cast<unsigned int>(file.channels());
    info->rate = static_cast<unsigned int>(file.samplerate());
    info->frames = static_cast<std::uint64_t>(file.frames());
    set_width(file.format(), info);
    constexpr sf_count_t kFrames = 4096;
    std::vector<double> samples(static_cast<std::size_t>(kFrames) * info->channels);
    std::uint64_t read = 0;
    for (sf_count_t got = 0; (got = file.readf(samples.data(), kFrames)) > 0;) {
        read += static_cast<std::uint64_t>(got);
        if (sink) {
            sink(samples.data(), static_cast<std::size_t>(got));
        }
    }
    return read == info->frames && !data_is_cut(file)
               ? ""
               : path + ": cut short, only " + std::to_string(read) + " frames can be read";
}

bool wav_writer::check(bool good) {
    if (!good) {
        message = name + ": " + (errno != 0 ? std::strerror(errno) : sf_error_number(file.error()));
    }
    return good;
}

bool wav_writer::open(const std::string& path, unsigned int rate, unsigned int channels,
                      unsigned int bits) {
    name = path;
    wide = bits == 32;
    errno = 0;
    file =
        SndfileHandle(path, SFM_WRITE, SF_FORMAT_WAV | (wide ? SF_FORMAT_PCM_32 : SF_FORMAT_PCM_16),
                      static_cast<int>(channels), static_cast<int>(rate));
    file.command(SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    return check(file.error() == SF_ERR_NO_ERROR);
}

bool wav_writer::add(const void* frames, std::size_t count) {
    const auto wanted = static_cast<sf_count_t>(count);
    errno = 0;
    return check((wide ? file.writef(static_cast<const int*>(frames), wanted)
                       : file.writef(static_cast<const short*>(frames), wanted)) == wanted);
}

bool wav_writer::close() {
    errno = 0;
    file.writeSync();
    const bool kept = check(file.error() == SF_ERR_NO_ERROR);
    file = SndfileHandle();
    return kept;
}
