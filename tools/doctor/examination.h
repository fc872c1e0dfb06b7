#pragma once

#include <sound/asound.h>
// tinyalsa's plugin interface uses the kernel's sound records.
#include <tinyalsa/plugin.h>

#include <initializer_list>
#include <string>

#include "card_state.h"
#include "virtual_stream.h"

enum class verdict : char { pass = '0', warning, failure, skipped };

/// A look at card 70, in a process of its own. Its rows are printed as they are found, and later
/// checks take from it what earlier ones saw.
struct examination {
    /// A row: what was seen and, unless all is well, what to do.
    void add(const char* check, verdict result, const std::string& seen,
             const std::string& remedy) const;
    void judge(const char* check, bool good, const std::string& seen, const std::string& remedy,
               bool doubtful = false) const {
        const verdict at_best = doubtful ? verdict::warning : verdict::pass;
        add(check, good ? at_best : verdict::failure, seen, remedy);
    }
    void skip(std::initializer_list<const char*> checks, const std::string& missing) const;

    stream_format client;
    bool json;                  ///< rows as objects, for programs
    int told = -1;              ///< descriptor that gets each row's verdict
    mutable bool first = true;  ///< no row has been printed

    std::string so_name{};        ///< of the library, as the card definition has it; empty: unknown
    std::string mixer_so_name{};  ///< the same of card 70's mixer
    std::string definition_fault{}, definition_remedy{};  ///< empty: none
    void* library = nullptr;                              ///< loaded
    const snd_node_ops* definitions = nullptr;  ///< the card parser's, from "other programs" on
    /// Of the controls whose events it follows, as its file tells; 0: not known.
    unsigned int active_number = 0;
    unsigned int layout_number = 0;
    bool may_open = true;  ///< opening card 70 is safe: tinyalsa crashes on a plugin it can't load
    bool card_found = false;  ///< the real card
    bool card_opened = false;
    bool stream_opened = false;
    unsigned int card_number = 0;
    unsigned int device = 0;
    card_state card{};  ///< the real card's controls, when known, and the coefficient files
};

/// What checks that are skipped for its sake lack.
inline constexpr const char* kLoadable = "a library that tinyalsa can load";

/// Where that is to be seen.
inline constexpr const char* kLog =
    "(on a host zel-fc doctor --log, on a device logcat -s zel_tinyalsa_format_converter).";

// The checks, in the order in which they run; each adds its rows.

/// The library's build against tinyalsa's, by the mark in its file; looks up the definition.
void check_version(examination* found);
void check_tinyalsa(examination* found);
void check_definition(examination* found);
void check_library(examination* found);
/// Whether tinyalsa finds the card definitions by itself. They stay loaded from then on.
void check_other_programs(examination* found);
void check_voice_utility(examination* found);
/// The five controls, their numbers, and whether all can be mirrored: one look at the card's mixer.
void check_card_controls(examination* found);
void check_coefficient_files(examination* found);
void check_virtual_mixer(examination* found);
void check_stream(examination* found);
void check_rights(examination* found);

/// A file's bytes; none when it cannot be read.
std::string content_of(const std::string& path);
