#pragma once

#include <vector>

#include "card_changes.h"
#include "exit_code.h"

struct watch_options {
    unsigned int card = 70;
    double seconds = 0;  ///< 0: until interrupted
    bool no_stream = false;
    bool json = false;
    bool log = false;                  ///< print the library's messages, too
    std::vector<card_change> changes;  ///< made while it watches
};

/// Prints a card's events as they come, one a line. Card 70 has one kind of event, a restarted
/// capture, and tells it only to the process that has the stream: so a stream is opened unless
/// `no_stream`, and with the event come the controls that have changed since the last one.
exit_code run_watch(const watch_options& options);
