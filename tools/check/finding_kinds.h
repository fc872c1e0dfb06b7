#pragma once

enum class severity {
    error,    ///< the device does not do what the file says
    warning,  ///< it does, but part of the file has no effect or the audio can be damaged
    note
};

/// A kind of finding: what is told of it, with %1 to %6 for what differs from file to file.
struct finding_kind {
    const char* name;  ///< a word for machines
    severity level;
    const char* what;    ///< the problem
    const char* device;  ///< what the device does with it
    const char* mend;    ///< how to mend it
};

/// Everything that `zel-fc check` finds.
namespace kinds {

using enum severity;

// The file as a whole.
inline constexpr finding_kind kNotReadable{"not_readable", error, "cannot be read as a file", "%1",
                                           "check path, permissions and that it is a regular file"};
inline constexpr finding_kind kTooLarge{"too_large", error, "larger than %2 bytes", "%1",
                                        "remove entries that no stream needs"};
inline constexpr finding_kind kUnknownKind{
    "unknown_kind", error, "neither a mixing nor a delay file, by its members and by its name",
    "as the mixing file: %1; as the delay file: %2",
    "name the kind with --as mixing or --as delay"};
inline constexpr finding_kind kSyntax{"syntax", error, "%1", "%3", "%2"};
inline constexpr finding_kind kTrailingText{
    "trailing_text", warning, "text behind the end of the document", "ignores it", "remove it"};
inline constexpr finding_kind kNotAnObject{"not_an_object", error,
                                           "the file holds %1 instead of an object", "%2",
                                           "write one object in braces, with nothing around it"};
inline constexpr finding_kind kEnableMissing{"enable_missing", error, "%1", "%3", "%2"};
inline constexpr finding_kind kDisabled{"disabled", error, "%1 is %2",
                                        "ignores the whole file and %3",
                                        "write true, without quotes, to use the file"};
inline constexpr finding_kind kBodyMissing{"body_missing", error, "%1", "%3", "%2"};
inline constexpr finding_kind kBodyEmpty{"body_empty", error, "%1 %2", "%3",
                                         "add an entry for each stream"};
inline constexpr finding_kind kEntryAlone{"entry_alone", error,
                                          "%1 is an entry instead of an array of entries", "%2",
                                          "write the entry in square brackets: [{...}]"};
inline constexpr finding_kind kObjectForArray{
    "object_for_array", warning, "%1 is an object instead of an array",
    "takes the members' values in their order", "write them in square brackets, without names"};
inline constexpr finding_kind kDuplicateMember{"duplicate_member", warning, "a second member %1",
                                               "takes the first one; letter case does not count",
                                               "remove one of them"};

// An entry.
inline constexpr const char* kSearchEnds =
    "gives up the search here and %3, for every stream that no earlier entry serves";
inline constexpr finding_kind kBadInputChannel{"bad_input_channel", error, "%1", kSearchEnds, "%2"};
inline constexpr finding_kind kBadInputChannelLayout{"bad_input_channel_layout", error, "%1",
                                                     kSearchEnds, "%2"};
inline constexpr finding_kind kBadOutputChannel{"bad_output_channel", error, "%1", kSearchEnds,
                                                "%2"};
inline constexpr finding_kind kNeverRequested{"never_requested", warning, "no %1 has %2 channels",
                                              "never chooses this entry",
                                              "write the %1's channel count, %3"};
inline constexpr finding_kind kBehindMalformed{
    "behind_malformed", warning, "this entry can never be chosen: %1 before it is malformed",
    "gives up at %1", "mend that entry"};
inline constexpr finding_kind kDuplicateEntry{
    "duplicate_entry", warning, "this entry can never be chosen: %1 serves the same stream",
    "chooses %1", "remove one of the two"};
inline constexpr finding_kind kHiddenByPrefix{
    "hidden_by_prefix", warning, "this entry can never be chosen: layout %1 of %2 begins with %3",
    "compares no more characters than the card's layout name has, and chooses %2",
    "move this entry before %2"};
inline constexpr finding_kind kUnknownLayout{
    "unknown_layout", note, "layout %1 is none of the usual ones",
    "chooses this entry only if the card's \"PCM Channel Layout\" is called so",
    "compare it with the card's items: zel-fc controls"};
inline constexpr finding_kind kWordyLayout{
    "wordy_layout", warning, "layout %1 has more than digits and dots",
    "chooses this entry for every layout that it begins with", "write %2"};
inline constexpr finding_kind kLayoutTooLarge{
    "layout_too_large", error, "layout %1 stands for %2, but \"InputChannel\" is %3", "%5",
    "make \"InputChannel\" %4, or correct the layout"};
inline constexpr finding_kind kParametersMissing{"parameters_missing", error, "%1", "%3", "%2"};
inline constexpr finding_kind kParametersNoArray{"parameters_no_array", error,
                                                 "\"Parameters\" is %1 instead of an array", "%3",
                                                 "write it in square brackets%2"};

// An entry's values.
inline constexpr finding_kind kFraction{"fraction", warning, "%1 is %2, not a whole number",
                                        "drops the fraction: %3", "write %4"};
inline constexpr finding_kind kWeightCount{"weight_count", error, "%1 where %2 x %3 take %4", "%5",
                                           "%6"};
inline constexpr finding_kind kWeightValue{"weight_value", error, "the weight of %1 in %2 is %3",
                                           "%4", "%5"};
inline constexpr finding_kind kOverflow{
    "overflow", warning, "the weights of %1 add up to %2 (+%3)",
    "lets loud 16-bit samples wrap round, a crackle at full scale, and clips 32-bit ones", "%4"};
inline constexpr finding_kind kSilentOutput{
    "silent_output", note, "%1 takes nothing from any input", "leaves this output silent",
    "nothing, if that is wanted"};
inline constexpr finding_kind kDelayCount{
    "delay_count", error, "%1 for %2", "%3",
    "write one delay in whole milliseconds for each channel%4"};
inline constexpr finding_kind kDelayValue{"delay_value", error, "the delay of channel %1 is %2",
                                          "%3", "%4"};
inline constexpr finding_kind kLongDelay{
    "long_delay", note, "a delay of %1 ms, in which sound travels %2 m", "delays by it",
    "if this is in frames, divide it by the rate in kHz: 48 are 1 ms"};

// A stream.
inline constexpr finding_kind kNoEntry{"no_entry", error, "no entry for %1", "%2",
                                       "add an entry for this stream%3"};
inline constexpr finding_kind kPrefixMatch{
    "prefix_match", warning, "layout %1 is chosen because it begins with %2",
    "compares no more characters than the card's layout name has; the first match counts", "%3"};

}  // namespace kinds
