#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "library_log.h"
#include "meter_display.h"
#include "virtual_stream.h"

/// What a recording shows while it runs: on a terminal a level meter that is drawn in place, else a
/// line a second; nothing when a machine reads the output.
class capture_screen {
  public:
    enum class kind { terminal, lines, nothing };

    capture_screen(kind wanted, const stream_format& format, std::string file,
                   double total_seconds);

    /// Frames that have been recorded.
    void add(const void* frames, std::uint32_t count);
    /// A line of news for the standard output.
    void tell(const std::string& line);
    /// A message of the library for the standard error stream.
    void pass_on(const library_message& message);
    /// The last look, and the meter stays or goes.
    void finish();

  private:
    void draw();
    double seconds() const { return static_cast<double>(done) / rate; }

    kind shown;
    std::string name;
    unsigned int rate;
    double total;
    meter_ballistics meter;
    terminal_lines lines;
    std::uint64_t done = 0;
    std::uint64_t next = 0;
};
