#pragma once

#include <string>
#include <vector>

#include "virtual_stream.h"

enum class verdict { pass, warning, failure, skipped };

/// One check: what was seen and, unless all is well, what to do.
struct check_row {
    const char* check;
    verdict result;
    std::string seen;
    std::string remedy;
};

/// A look at card 70: the rows so far, in their order, and what later checks take from earlier
/// ones.
struct examination {
    explicit examination(const stream_format& asked) : client(asked) {}

    void pass(const char* check, std::string seen) {
        rows.push_back({check, verdict::pass, std::move(seen), ""});
    }
    void warn(const char* check, std::string seen, std::string remedy) {
        rows.push_back({check, verdict::warning, std::move(seen), std::move(remedy)});
    }
    void fail(const char* check, std::string seen, std::string remedy) {
        rows.push_back({check, verdict::failure, std::move(seen), std::move(remedy)});
    }
    void skip(const char* check, const std::string& missing) {
        rows.push_back({check, verdict::skipped, "not tried without " + missing, ""});
    }
    std::size_t count(verdict result) const;
    bool works() const { return count(verdict::failure) == 0; }

    stream_format client;
    std::vector<check_row> rows;

    std::string so_name;        ///< of the library, as the card definition has it; empty: unknown
    std::string mixer_so_name;  ///< the same, by the definition's mixer
    unsigned int watched_numbers[2] = {};  ///< by the library's mark; 0: it has none
    void* library = nullptr;               ///< loaded
    bool may_open = true;  ///< opening card 70 is safe: tinyalsa crashes on a plugin it can't load
    bool card_found = false;  ///< the real card
    unsigned int card = 0;
    unsigned int device = 0;
    unsigned int card_channels = 0;  ///< 0: not known, as the three below
    unsigned int card_rate = 0;      ///< Hz
    bool low_bytes = false;          ///< 24-bit samples in the low three bytes of their words
    std::string layout;
    std::string mixing_file;
    std::string delay_file;
};

/// What checks that are skipped for its sake lack.
inline constexpr const char* kLoadable = "a library that tinyalsa can load";

/// Whether the card parser knows that card, which then is a plugin, whatever the kernel has.
bool is_plugin_card(unsigned int card);

// The checks, in the order in which they run; each adds its rows.

void check_tinyalsa(examination* found);
void check_definition(examination* found);
void check_library(examination* found);
void check_version(examination* found);
void check_voice_utility(examination* found);
/// The five controls, their numbers, and whether all can be mirrored: one look at the card's mixer.
void check_card_controls(examination* found);
void check_coefficient_files(examination* found);
void check_virtual_mixer(examination* found);
void check_stream(examination* found);
void check_rights(examination* found);
