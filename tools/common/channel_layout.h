#pragma once

#include <string>
#include <vector>

// Channel layouts by name, such as "5.1" or "7.1.4". The device itself knows channels by number
// only; the names here are in the order of WAV files and of Android.

/// The layouts that the simulated card can have.
const std::vector<std::string>& card_layouts();
/// The layout that a card with so many channels has when nobody names one: the first of them with
/// that count, else the largest that leaves channels over.
std::string card_layout_of(unsigned int channels);
/// One name for each of a layout's channels, such as FL, FR, FC, LFE; empty when the layout's name
/// does not tell them.
std::vector<std::string> channel_names(const std::string& layout);
/// "2 FC", or the number alone of a channel without a name.
std::string channel_text(std::size_t channel, const std::vector<std::string>& names);
/// Names for a client's channels, which come without a layout: those of the usual one, or of `in`
/// when the counts agree. Empty when there is none.
std::vector<std::string> output_names(unsigned int outputs, const std::vector<std::string>& in);
/// "1 channel", "6 channels".
std::string channels_text(unsigned int count);
