#include "interrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void on_interrupt(int /*signal*/) {
    g_interrupted = 1;
}

}  // namespace

void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return g_interrupted != 0;
}
