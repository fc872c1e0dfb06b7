#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// "[########........]  50 %  12.3 s of 24.6 s, 310 x real time" in `width` columns at most.
std::string progress_text(double done_seconds, double total_seconds, double elapsed_seconds,
                          unsigned int width);

/// Columns of the terminal on the standard output; 0 when it is none.
unsigned int terminal_columns();

/// A line on the terminal that tells how far a job is, rewritten ten times a second. Nothing when
/// the standard output is no terminal or `wanted` is false.
class progress_bar {
  public:
    progress_bar(double total_seconds, bool wanted);
    ~progress_bar() { clear(); }
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

    void show(double done_seconds);
    /// Takes the line away.
    void clear();

  private:
    using clock = std::chrono::steady_clock;

    double total;
    unsigned int columns;
    clock::time_point begin = clock::now();
    clock::time_point next = begin;
    bool shown = false;
};
