#include "check_report.h"

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
