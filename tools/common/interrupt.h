#pragma once

/// From now on an interrupt (Ctrl-C) or a request to terminate is only noted, for a clean end; a
/// second one ends the program at once.
void catch_interrupts();
bool interrupted();
