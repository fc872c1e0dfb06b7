#include "sound_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <sstream>

#include "channel_layout.h"

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
constexpr struct {
    int map;
    const char* name;
} kPlaces[] = {{SF_CHANNEL_MAP_LEFT, "FL"},
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

// By the count of channels, from three on.
constexpr const char* kUsualPlaces[] = {
    "FL FR FC",           "FL FR BL BR",           "FL FR FC BL BR",
    "FL FR FC LFE BL BR", "FL FR FC LFE BC SL SR", "FL FR FC LFE BL BR SL SR"};
constexpr const char* kOggPlaces[] = {
    "FL FC FR",           "FL FR BL BR",           "FL FC FR BL BR",
    "FL FC FR BL BR LFE", "FL FC FR SL SR BC LFE", "FL FC FR SL SR BL BR LFE"};

std::vector<int> map_of(const char* const (&places)[6], int channels) {
    std::vector<int> map;
    std::istringstream names(channels >= 3 && channels <= 8 ? places[channels - 3] : "");
    for (std::string name; names >> name;) {
        map.push_back(std::find_if(std::begin(kPlaces), std::end(kPlaces), [&](const auto& place) {
                          return name == place.name;
                      })->map);
    }
    return map;
}

constexpr const char* kCutShort = ": cut short, its last frames cannot be read";

/// The file's channels in the order of WAV files, and their names; as they are where the file
/// doesn't tell.
std::vector<std::size_t> order_of(SndfileHandle& file, bool ogg, std::vector<std::string>* places) {
    const auto count = static_cast<std::size_t>(file.channels());
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::vector<int> map = ogg ? map_of(kOggPlaces, file.channels()) : std::vector<int>(count);
    if (!ogg && file.command(SFC_GET_CHANNEL_MAP_INFO, map.data(),
                             static_cast<int>(count * sizeof(int))) == SF_FALSE) {
        return order;
    }
    std::vector<std::size_t> known;
    for (const auto& place : kPlaces) {
        const auto found = std::find(map.begin(), map.end(), place.map);
        if (found != map.end()) {
            known.push_back(static_cast<std::size_t>(found - map.begin()));
            places->emplace_back(place.name);
        }
    }
    if (known.size() != count) {
        places->clear();
        return order;
    }
    return known;
}

}  // namespace

std::string sound_info::text(const std::string& path) const {
    char figures[96];
    std::snprintf(figures, sizeof(figures), ": %llu frames, %.3f s, %u Hz, ",
                  static_cast<unsigned long long>(frames), static_cast<double>(frames) / rate,
                  rate);
    return path + figures + channels_text(channels) + ", " + encoding;
}

std::string played_sound::open(const std::string& path) {
    SndfileHandle file = path == "-" ? SndfileHandle(STDIN_FILENO, false) : SndfileHandle(path);
    if (file.error() != SF_ERR_NO_ERROR) {
        return path + ": " + file.strError();
    }
    if (file.frames() <= 0) {
        return path + ": no audio in it";
    }
    found.channels = static_cast<unsigned int>(file.channels());
    found.rate = static_cast<unsigned int>(file.samplerate());
    found.frames = static_cast<std::uint64_t>(file.frames());
    set_width(file.format(), &found);
    std::error_code ignored;
    const bool pipe = !std::filesystem::is_regular_file(path, ignored);
    const bool ogg = (file.format() & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG;
    const std::vector<std::size_t> order = order_of(file, ogg, &found.places);
    if (pipe || ogg || !std::is_sorted(order.begin(), order.end()) || file.seek(1, SEEK_SET) != 1) {
        file.seek(0, SEEK_SET);
        const std::string wrong = copy(&file, order);
        return !wrong.empty() || pipe || static_cast<sf_count_t>(found.frames) == file.frames()
                   ? wrong
                   : path + kCutShort;
    }
    playable = path;
    std::vector<double> last(found.channels);
    return file.seek(file.frames() - 1, SEEK_SET) < 0 || file.readf(last.data(), 1) != 1 ||
                   data_is_cut(file)
               ? path + kCutShort
               : "";
}

std::string played_sound::copy(SndfileHandle* from, const std::vector<std::size_t>& order) {
    copied.reset(std::tmpfile());
    if (!copied) {
        return std::string("a temporary file: ") + std::strerror(errno);
    }
    const bool exact = !holds_floats(from->format());
    SndfileHandle to(fileno(copied.get()), false, SFM_WRITE,
                     SF_FORMAT_RF64 | (exact ? SF_FORMAT_PCM_32 : SF_FORMAT_DOUBLE),
                     static_cast<int>(found.channels), static_cast<int>(found.rate));
    const auto move_all = [&](auto type) {
        constexpr sf_count_t kFrames = 4096;
        std::vector<decltype(type)> in(kFrames * order.size());
        std::vector<decltype(type)> out(in.size());
        found.frames = 0;
        for (sf_count_t got = 0; (got = from->readf(in.data(), kFrames)) > 0;) {
            const auto samples = static_cast<std::size_t>(got) * order.size();
            for (std::size_t k = 0; k < samples; ++k) {
                out[k] = in[k - k % order.size() + order[k % order.size()]];
            }
            if (to.writef(out.data(), got) != got) {
                return false;
            }
            found.frames += static_cast<std::uint64_t>(got);
        }
        to.writeSync();
        return to.error() == SF_ERR_NO_ERROR;
    };
    if (exact ? !move_all(int{}) : !move_all(double{})) {
        return std::string("a temporary file: ") + to.strError();
    }
    playable = "/proc/self/fd/" + std::to_string(fileno(copied.get()));
    return found.frames > 0 ? "" : "no audio in it";
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

bool wav_writer::check(bool good) {
    if (!good) {
        message = name + ": " + (errno != 0 ? std::strerror(errno) : sf_error_number(file.error()));
    }
    return good;
}

bool wav_writer::open(const std::string& path, unsigned int rate, unsigned int channels,
                      unsigned int bits, std::uint64_t most_frames) {
    name = path;
    wide = bits == 32;
    errno = 0;
    constexpr std::uint64_t kMostBytes = 0xFFFF0000;  // with room for the head
    const bool large = most_frames * channels * (bits / 8) > kMostBytes;
    // Two channels need no mask, and old readers know the plain form only.
    const int form = large ? SF_FORMAT_RF64 : channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
    file = SndfileHandle(path, SFM_WRITE, form | (wide ? SF_FORMAT_PCM_32 : SF_FORMAT_PCM_16),
                         static_cast<int>(channels), static_cast<int>(rate));
    file.command(SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    std::vector<int> map = map_of(kUsualPlaces, static_cast<int>(channels));
    if (!map.empty()) {
        file.command(SFC_SET_CHANNEL_MAP_INFO, map.data(),
                     static_cast<int>(map.size() * sizeof(int)));
    }
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
