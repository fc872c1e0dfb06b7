#pragma once

#include <optional>
#include <string>
#include <vector>

#include "finding_kinds.h"
#include "located_json.h"

// What `zel-fc check` finds out about a coefficient file, before it is printed.

enum class file_kind { unknown, mixing, delay };

/// A stream to be decided about: the card's side and the client's channel count.
struct stream_request {
    unsigned int channels = 0;
    std::string layout;        ///< mixing only
    unsigned int outputs = 0;  ///< mixing only
    unsigned int rate = 0;     ///< Hz, delay only
};

struct finding {
    severity level;
    std::string kind;  ///< a word for machines, listed in docs/check.md
    text_place place;
    int entry;           ///< index of the entry that it is about, -1: the whole file
    std::string what;    ///< the problem
    std::string device;  ///< what the device does with it
    std::string mend;    ///< how to mend it
};

enum class outcome {
    entry,     ///< mixes by the entry's weights
    identity,  ///< mixes by the identity matrix
    silence,   ///< mixes by zeros
    delays,    ///< delays by the entry's delays
    bypass,    ///< delays nothing
    failure    ///< the stage cannot be built, the client's open fails
};

/// What the device does for one stream.
struct decision {
    stream_request request;
    outcome result = outcome::failure;
    int status = 0;                       ///< of building the stage, 0 or a negative error number
    bool used = false;                    ///< the stage goes by the file, not by a fallback
    int entry = -1;                       ///< index of the entry that decided, -1: none
    text_place place;                     ///< of that entry
    std::vector<float> weights;           ///< a row by output channel
    std::vector<unsigned int> delays_ms;  ///< one for each channel
    std::vector<std::string> log;         ///< the device's warnings and errors
};

/// One entry of the file.
struct entry_report {
    text_place place;
    stream_request serves;
    bool well_formed = false;  ///< false: it fails every search that gets to it
    bool usable = false;       ///< the device takes it when it is asked for
    bool reachable = false;    ///< some stream leads to it
    int values = 0;            ///< count of weights or delays
    double peak = 0;  ///< largest sum of absolute weights of an output, or longest delay in ms
};

struct file_report {
    std::string path;
    file_kind kind = file_kind::unknown;
    bool readable = false;
    std::vector<finding> findings;  ///< in the order of the text
    std::optional<decision> decided;
    std::vector<entry_report> entries;
    bool complete = true;  ///< false: so many findings that the walk was given up

    /// Adds a finding with `words` for what differs.
    void add(const finding_kind& found, text_place place, int entry,
             const std::vector<std::string>& words = {});
};

const char* severity_name(severity level);
const char* kind_name(file_kind kind);
const char* outcome_name(outcome result);
