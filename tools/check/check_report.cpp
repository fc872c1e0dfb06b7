#include "check_report.h"

namespace {

std::string filled(const char* pattern, const std::vector<std::string>& words) {
    std::string text;
    for (const char* c = pattern; *c != '\0'; ++c) {
        if (*c == '%') {
            text += words.at(static_cast<std::size_t>(*++c - '1'));
        } else {
            text += *c;
        }
    }
    return text;
}

}  // namespace

void file_report::add(const finding_kind& found, text_place place, int entry,
                      const std::vector<std::string>& words) {
    findings.push_back({found.level, found.name, place, entry, filled(found.what, words),
                        filled(found.device, words), filled(found.mend, words)});
}

const char* severity_name(severity level) {
    switch (level) {
        case severity::error:
            return "error";
        case severity::warning:
            return "warning";
        case severity::note:
            break;
    }
    return "note";
}

const char* kind_name(file_kind kind) {
    switch (kind) {
        case file_kind::mixing:
            return "mixing";
        case file_kind::delay:
            return "delay";
        case file_kind::unknown:
            break;
    }
    return "unknown";
}

const char* outcome_name(outcome result) {
    switch (result) {
        case outcome::entry:
            return "entry";
        case outcome::identity:
            return "identity";
        case outcome::silence:
            return "silence";
        case outcome::delays:
            return "delays";
        case outcome::bypass:
            return "bypass";
        case outcome::failure:
            break;
    }
    return "failure";
}
