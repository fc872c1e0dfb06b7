#pragma once

#include <chrono>
#include <string>

/// "[########........]", `width` columns with its ends, for a share from 0 to 1.
std::string bar_text(double share, std::size_t width);

/// Columns of the terminal on the standard output; 0 when it is none that can be drawn on.
std::size_t terminal_columns();

/// A line on the terminal that tells how far a job is, rewritten in place. Nothing when the
/// standard output is no terminal or `wanted` is false.
class status_line {
  public:
    explicit status_line(bool is_wanted) : wanted(is_wanted) {}
    ~status_line() { clear(); }
    status_line(const status_line&) = delete;
    status_line& operator=(const status_line&) = delete;

    /// Columns that the next text may have; 0 while it is too early for one, ten times a second.
    std::size_t room() const;
    void show(const std::string& text);
    /// Takes the line away, for other output.
    void clear();

  private:
    using clock = std::chrono::steady_clock;

    bool wanted;
    clock::time_point next{};
    bool shown = false;
};
