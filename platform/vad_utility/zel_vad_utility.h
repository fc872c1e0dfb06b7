#pragma once

#include <ctime>
#include <string>

#pragma GCC visibility push(default)

enum voice_json { VOICE_JSON_DELAY = 1, VOICE_JSON_MIXING = 2 };

/// Puts the path of the coefficient file of that kind into `path`. 0, or a negative error number
/// with `path` unchanged.
int get_json_path(std::string& path, voice_json kind);

/// Card and device number of the capture device of that name. 0, or a negative error number with
/// the numbers unchanged.
int search_snd_device(std::string name, unsigned int* card, unsigned int* device);

/// Moves a capture time back by the frames still buffered when it was taken, so that it belongs to
/// the newest frame that has been read. 0, or -22 for a null time or a rate of 0.
int adjust_timestamp(unsigned int avail_frames, unsigned int rate_hz, struct timespec* ts);

#pragma GCC visibility pop
