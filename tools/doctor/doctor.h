#pragma once

#include "examination.h"

/// Whether card 70 works on this machine, for that client, and if not, why: runs all checks, each
/// bounded in time, and opens the card as a client does. A few seconds.
examination examine_card(const stream_format& client);

/// A line for each check, a line with the remedy where there is one, and the sum.
void print_examination(const examination& found);
/// The same as one JSON object.
void print_examination_json(const examination& found);
