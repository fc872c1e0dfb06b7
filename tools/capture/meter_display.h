#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "level_meter.h"

/// One channel as the meter shows it, in dB below full scale.
struct meter_reading {
    double level;  ///< RMS of the last interval
    double peak;   ///< of the last interval
    double hold;   ///< highest peak of late, falling after a while
    bool over;     ///< a sample at full scale since the start
};

/// The readings behind a level meter that is looked at several times a second: peaks are held for
/// 1.5 s, then fall by 20 dB a second.
class meter_ballistics {
  public:
    meter_ballistics(unsigned int channels, unsigned int bits, unsigned int rate);

    void add(const void* frames, std::size_t count);
    /// Of what came since the last look, at least the time of one look.
    std::vector<meter_reading> look();

  private:
    struct held_peak {
        double dbfs;
        std::uint64_t since;  ///< frame
    };

    unsigned int bits;
    unsigned int rate;
    level_meter interval;
    std::uint64_t frames_seen = 0;
    std::uint64_t last_look = 0;
    std::vector<held_peak> held;
    std::vector<bool> overs;
};

/// A line for each channel under a scale from -60 to 0 dBFS, in `width` columns at most: '#' up to
/// the level, '-' up to the peak, '|' the held peak.
std::vector<std::string> meter_lines(const std::vector<meter_reading>& readings,
                                     unsigned int width);
/// All channels in one line, for where nothing can be redrawn.
std::string meter_line(const std::vector<meter_reading>& readings);

/// Lines at the bottom of a terminal that are drawn again in place.
class terminal_lines {
  public:
    ~terminal_lines();
    void draw(const std::vector<std::string>& lines);
    /// Takes the lines away, for other output; the next draw is below that.
    void erase();

  private:
    std::size_t drawn = 0;
    bool hidden = false;  ///< the cursor
};
