#pragma once

#include <optional>
#include <string>
#include <vector>

#include "coefficient_text.h"
#include "json_output.h"

// What `zel-fc check` finds out about a coefficient file.

enum class file_kind { unknown, mixing, delay };

/// A stream to be decided about: the card's side and the client's channel count.
struct stream_request {
    unsigned int channels = 0;
    std::string layout;        ///< mixing only
    unsigned int outputs = 0;  ///< mixing only
    unsigned int rate = 0;     ///< Hz, delay only
};

/// An error: the device does not go by the file, or by that entry. There is one among the findings
/// about the file and the stream's own entry if and only if the device does not use the file for
/// the stream. A warning: it does, but a part has no effect or the audio can be damaged. A note:
/// perhaps meant so.
enum class severity { error, warning, note };

struct finding {
    severity level;
    std::string kind;  ///< a word for machines, listed in docs/check.md
    text_place place;
    int entry;            ///< index of the entry that it is about, -1: the whole file
    std::string what;     ///< the problem
    std::string device;   ///< what the device does with it
    std::string mend;     ///< how to mend it
    std::string excerpt;  ///< the line and a caret, where that helps; else empty
};

/// What the device does for one stream.
struct decision {
    stream_request request;
    /// "entry", "identity" or "silence" for mixing, "delays" or "bypass"; "failure": the stage
    /// cannot be built, and the client's open fails.
    std::string outcome = "failure";
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
};

struct file_report {
    std::string path;
    file_kind kind = file_kind::unknown;
    bool readable = false;
    std::vector<finding> findings;  ///< in the order of the text
    std::optional<decision> decided;
    std::vector<entry_report> entries;
    /// Of other streams, with errors or warnings that are not among the findings.
    std::size_t other_bad_entries = 0;
};

/// For people.
std::string report_text(const file_report& report);
/// For machines.
json reports_json(const std::vector<file_report>& reports);

/// A matrix by gain and dB, turned by a quarter against the file, so that many inputs still fit: a
/// row for each input. `weights` has a row by output.
std::string matrix_text(const stream_request& stream, const std::vector<float>& weights);
json matrix_json(const std::vector<float>& weights, unsigned int inputs);
/// "1 weight", "2 weights".
std::string counted(std::size_t count, const std::string& noun);
/// "6 channels ("5.1") to 2".
std::string mixing_stream_text(const stream_request& stream);
/// What the identity matrix does to these channels.
std::string identity_text(unsigned int inputs, unsigned int outputs);

// What a row of weights, one for each input of an output, can do to the level.

/// The gain of an output when all its inputs help each other: the sum of the absolute weights.
double row_gain(const float* weights, std::size_t inputs);
/// True when inputs at full scale can make a sum that a 16-bit sample can't hold.
bool row_can_wrap(const float* weights, std::size_t inputs);
/// A gain as "-3.0"; "-inf" for 0.
std::string gain_db(double gain);
