#include "status_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

std::string bar_text(double share, std::size_t width) {
    const std::size_t length = width - 2;
    const auto filled =
        static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * static_cast<double>(length));
    return '[' + std::string(filled, '#') + std::string(length - filled, '.') + ']';
}

std::size_t terminal_columns() {
    const char* const terminal = std::getenv("TERM");
    if (isatty(STDOUT_FILENO) == 0 || terminal == nullptr || std::string(terminal) == "dumb") {
        return 0;
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::size_t status_line::room() const {
    // One column less: the last one would wrap on some terminals.
    const std::size_t columns = wanted && clock::now() >= next ? terminal_columns() : 0;
    return columns == 0 ? 0 : columns - 1;
}

void status_line::show(const std::string& text) {
    next = clock::now() + std::chrono::milliseconds(100);
    std::printf("\r%s\033[K", text.c_str());
    std::fflush(stdout);
    shown = true;
}

void status_line::clear() {
    if (shown) {
        std::printf("\r\033[K");
        std::fflush(stdout);
    }
    shown = false;
}
