#pragma once

#include "examination.h"

/// Whether card 70 works on this machine, for that client, and if not, why: runs all checks, each
/// bounded in time, and opens the card as a client does. A few seconds.
/// `told`, when not null, gets each row as it is found: what comes next may end the program, as
/// tinyalsa's own faults do.
examination examine_card(const stream_format& client, void (*told)(const check_row& row));

/// Examines and prints: a line for each check, with the remedy below where there is one, and the
/// sum; or all as one JSON object. True when nothing failed.
bool print_examination(const stream_format& client, bool json);
