#include "sound_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "channel_layout.h"
#include "command_end.h"

namespace {

/// libsndfile takes what is there for the whole; only its log tells of a header that says more.
/// Sizes that a writer into a pipe leaves don't count.
bool data_is_cut(SndfileHandle& file) {
    std::vector<char> log(16384);
    file.command(SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
    const char* data = std::strstr(log.data(), "data : ");
    unsigned long long said = 0;
    unsigned long long there = 0;
    constexpr unsigned long long kOpenEnd = 0x7FFF0000;
    return data != nullptr &&
           std::sscanf(data, "data : %llu (should be %llu)", &said, &there) == 2 && said > there &&
           said < kOpenEnd;
}

bool holds_floats(int format) {
    const int kind = format & SF_FORMAT_SUBMASK;
    return kind == SF_FORMAT_FLOAT || kind == SF_FORMAT_DOUBLE;
}

void set_width(int format, sound_info* info) {
    SF_FORMAT_INFO named{};
    named.format = format & SF_FORMAT_SUBMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &named, sizeof(named));
    info->encoding = named.name != nullptr ? named.name : "unknown encoding";
    info->bits = named.format == SF_FORMAT_PCM_24                           ? 24
                 : named.format == SF_FORMAT_PCM_32 || holds_floats(format) ? 32
                                                                            : 16;
}

/// Where channels are, in the order of WAV files.
struct place {
    int map;
    const char* name;
};
constexpr place kPlaces[] = {{SF_CHANNEL_MAP_LEFT, "FL"},
                             {SF_CHANNEL_MAP_RIGHT, "FR"},
                             {SF_CHANNEL_MAP_CENTER, "FC"},
                             {SF_CHANNEL_MAP_FRONT_LEFT, "FL"},
                             {SF_CHANNEL_MAP_FRONT_RIGHT, "FR"},
                             {SF_CHANNEL_MAP_FRONT_CENTER, "FC"},
                             {SF_CHANNEL_MAP_LFE, "LFE"},
                             {SF_CHANNEL_MAP_REAR_LEFT, "BL"},
                             {SF_CHANNEL_MAP_REAR_RIGHT, "BR"},
                             {SF_CHANNEL_MAP_REAR_CENTER, "BC"},
                             {SF_CHANNEL_MAP_SIDE_LEFT, "SL"},
                             {SF_CHANNEL_MAP_SIDE_RIGHT, "SR"},
                             {SF_CHANNEL_MAP_TOP_FRONT_LEFT, "TFL"},
                             {SF_CHANNEL_MAP_TOP_FRONT_RIGHT, "TFR"},
                             {SF_CHANNEL_MAP_TOP_REAR_LEFT, "TBL"},
                             {SF_CHANNEL_MAP_TOP_REAR_RIGHT, "TBR"}};

const place* find_place(const auto& wanted) {
    return std::find_if(std::begin(kPlaces), std::end(kPlaces), wanted);
}

/// What a WAV file of so many channels usually says of them; nothing for one and two.
std::vector<int> usual_map(std::size_t channels) {
    std::vector<int> map;
    for (const char* layout : {"3.0", "4.0", "5.0", "5.1", "7.0", "7.1"}) {
        const std::vector<std::string> names = channel_names(layout);
        for (std::size_t k = 0; names.size() == channels && k < channels; ++k) {
            map.push_back(find_place([&](const place& one) { return names[k] == one.name; })->map);
        }
    }
    return map;
}

/// The names of a file's channels; empty where it doesn't tell. Throws for another order than that
/// of WAV files.
std::vector<std::string> places_of(SndfileHandle& file, const std::string& path) {
    const auto count = static_cast<std::size_t>(file.channels());
    std::vector<int> map(count);
    std::vector<std::string> names;
    bool ordered = count <= 2 || (file.format() & SF_FORMAT_TYPEMASK) != SF_FORMAT_OGG;
    if (ordered && file.command(SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                static_cast<int>(count * sizeof(int))) != SF_FALSE) {
        const auto* last = std::begin(kPlaces);
        for (const int one : map) {
            const auto* found = find_place([=](const place& here) { return here.map == one; });
            if (found == std::end(kPlaces)) {
                return {};
            }
            ordered = ordered && found >= last;
            last = found;
            names.emplace_back(found->name);
        }
    }
    if (!ordered) {
        throw command_failure(EXIT_OPEN,
                              fmt::format("{}: its channels have another order than those of a "
                                          "WAV file; make one first: ffmpeg -i {} IN.wav",
                                          path, path));
    }
    return names;
}

}  // namespace

std::string sound_info::text(const std::string& path) const {
    return fmt::format("{}: {} frames, {:.3f} s, {} Hz, {}, {}", path, frames,
                       static_cast<double>(frames) / rate, rate, channels_text(channels), encoding);
}

played_sound::played_sound(const std::string& path) : playable(path) {
    std::error_code ignored;
    const bool pipe = path == "-" || !std::filesystem::is_regular_file(path, ignored);
    if (pipe) {
        copied.reset(std::tmpfile());
        const int descriptor = copied ? fileno(copied.get()) : -1;
        playable = "/proc/self/fd/" + std::to_string(descriptor);
        errno = 0;
        std::ifstream in(path == "-" ? "/dev/stdin" : path, std::ios::binary);
        if (!(std::ofstream(playable, std::ios::binary) << in.rdbuf())) {
            throw command_failure(
                EXIT_OPEN, path + ": " + (errno != 0 ? std::strerror(errno) : "no audio in it"));
        }
    }
    SndfileHandle file(playable);
    if (file.error() != SF_ERR_NO_ERROR) {
        throw command_failure(EXIT_OPEN, path + ": " + file.strError());
    }
    if (file.frames() <= 0) {
        throw command_failure(EXIT_OPEN, path + ": no audio in it");
    }
    found.channels = static_cast<unsigned int>(file.channels());
    found.rate = static_cast<unsigned int>(file.samplerate());
    found.frames = static_cast<std::uint64_t>(file.frames());
    found.places = places_of(file, path);
    set_width(file.format(), &found);
    if (file.seek(1, SEEK_SET) != 1) {
        throw command_failure(
            EXIT_OPEN,
            path + ": its encoding has no places to seek to; sox makes a plain WAV file");
    }
    std::vector<double> last(found.channels);
    if (file.seek(file.frames() - 1, SEEK_SET) < 0 || file.readf(last.data(), 1) != 1 ||
        data_is_cut(file)) {
        throw command_failure(EXIT_READ, path + ": cut short, its last frames cannot be read");
    }
}

const std::vector<std::int32_t>& sound_reader::read(std::size_t frames) {
    const auto wanted = static_cast<sf_count_t>(frames);
    samples.assign(frames * channels(), 0);
    if (!holds_floats(file.format())) {
        file.readf(samples.data(), wanted);
        return samples;
    }
    floats.assign(samples.size(), 0);
    file.readf(floats.data(), wanted);
    std::transform(floats.begin(), floats.end(), samples.begin(), [this](double value) {
        const double word = std::clamp(value * 0x1p31, -0x1p31, 0x1p31 - 1);
        beyond += value < -1 || value > 1 ? 1 : 0;
        return static_cast<std::int32_t>(std::lround(word));
    });
    return samples;
}

void wav_writer::check(bool good) {
    if (!good) {
        throw command_failure(
            EXIT_WRITE,
            name + ": " + (errno != 0 ? std::strerror(errno) : sf_error_number(file.error())));
    }
}

wav_writer::wav_writer(const std::string& path, unsigned int rate, unsigned int channels,
                       unsigned int bits, std::uint64_t most_frames)
    : name(path), wide(bits == 32) {
    errno = 0;
    constexpr std::uint64_t kMostBytes = 0xFFFF0000;  // with room for the head
    const bool large = most_frames * channels * (bits / 8) > kMostBytes;
    // Two channels need no mask, and old readers know the plain form only.
    const int form = large ? SF_FORMAT_RF64 : channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
    file = SndfileHandle(path, SFM_WRITE, form | (wide ? SF_FORMAT_PCM_32 : SF_FORMAT_PCM_16),
                         static_cast<int>(channels), static_cast<int>(rate));
    file.command(SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    std::vector<int> map = usual_map(channels);
    if (!map.empty()) {
        file.command(SFC_SET_CHANNEL_MAP_INFO, map.data(),
                     static_cast<int>(map.size() * sizeof(int)));
    }
    file.command(SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    check(file.error() == SF_ERR_NO_ERROR);
}

void wav_writer::add(const void* frames, std::size_t count) {
    const auto wanted = static_cast<sf_count_t>(count);
    errno = 0;
    check((wide ? file.writef(static_cast<const int*>(frames), wanted)
                : file.writef(static_cast<const short*>(frames), wanted)) == wanted);
}

void wav_writer::close() {
    errno = 0;
    file.writeSync();
    check(file.error() == SF_ERR_NO_ERROR);
    file = SndfileHandle();
}
