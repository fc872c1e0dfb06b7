#pragma once

#include <string>

/// Looks a capture device's name up in a list of PCM devices as the kernel writes it, one device a
/// line: "01-00: id : name : playback 1 : capture 1". True with both numbers filled in.
bool search_pcm_list(const char* list_path, const std::string& name, unsigned int* card,
                     unsigned int* device);

/// Looks the name up in the card definitions of libsndcardparser.so.
bool search_card_definitions(const std::string& name, unsigned int* card, unsigned int* device);
