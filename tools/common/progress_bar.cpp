#include "progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

std::string progress_text(double done_seconds, double total_seconds, double elapsed_seconds,
                          unsigned int width) {
    const double share =
        total_seconds > 0 ? std::clamp(done_seconds / total_seconds, 0.0, 1.0) : 1.0;
    char figures[96];
    std::snprintf(figures, sizeof(figures), " %3.0f %%  %.1f s of %.1f s, %.0f x real time",
                  std::floor(share * 100), done_seconds, total_seconds,
                  elapsed_seconds > 0 ? done_seconds / elapsed_seconds : 0.0);
    const std::string text = figures;
    constexpr std::size_t kShortestBar = 4;
    constexpr std::size_t kLongestBar = 40;
    if (width < text.size() + kShortestBar + 2) {
        return text.substr(0, width);
    }
    const std::size_t length = std::min(width - text.size() - 2, kLongestBar);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(length));
    return '[' + std::string(filled, '#') + std::string(length - filled, '.') + ']' + text;
}

unsigned int terminal_columns() {
    winsize size{};
    if (isatty(STDOUT_FILENO) == 0) {
        return 0;
    }
    constexpr unsigned int kUsual = 80;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

progress_bar::progress_bar(double total_seconds, bool wanted)
    : total(total_seconds), columns(wanted ? terminal_columns() : 0) {}

void progress_bar::show(double done_seconds) {
    const clock::time_point now = clock::now();
    if (columns == 0 || now < next) {
        return;
    }
    next = now + std::chrono::milliseconds(100);
    const std::chrono::duration<double> elapsed = now - begin;
    // One column less: the last one would wrap on some terminals.
    std::printf("\r%s\033[K",
                progress_text(done_seconds, total, elapsed.count(), columns - 1).c_str());
    std::fflush(stdout);
    shown = true;
}

void progress_bar::clear() {
    if (shown) {
        std::printf("\r\033[K");
        std::fflush(stdout);
    }
    shown = false;
}
