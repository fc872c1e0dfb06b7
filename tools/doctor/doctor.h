#pragma once

#include "virtual_stream.h"

/// Examines card 70 on this machine, for that client, and prints: a line for each check, with the
/// remedy below where there is one, and the sum; or all as one JSON object. Opens the card as a
/// client does, in a child process: a crash or a call that blocks is a row like any other. True
/// when nothing failed. A few seconds; no check has more than ten.
bool print_examination(const stream_format& client, bool json);
