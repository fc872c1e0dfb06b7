// A file of any content through `zel-fc check`, as both kinds of coefficient file: what it says
// must be what the stages do.

#include "captured_log.h"
#include "check_agreement.h"
#include "check_print.h"
#include "fuzz_input.h"

namespace {

const stream_request kMixing[] = {{2, "2.0", 2, 0}, {6, "5.1", 2, 0}, {8, "", 1, 0}};
const stream_request kDelay[] = {{2, "", 0, 48000}, {8, "", 0, 16000}};

void check(const std::string& disagreement) {
    if (!disagreement.empty()) {
        std::fprintf(stderr, "%s\n", disagreement.c_str());
        std::abort();
    }
}

/// What is printed has nothing in it that a terminal would obey.
void check_print(const std::string& text) {
    for (const char c : text) {
        ZEL_FUZZ_CHECK(c == '\n' || (c >= ' ' && c < 0x7F));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    const std::string path = zel_fuzz::write_coefficients(data, size);
    for (const stream_request& stream : kMixing) {
        check(zel_test::mixing_disagreement(path, stream));
    }
    for (const stream_request& stream : kDelay) {
        check(zel_test::delay_disagreement(path, stream));
    }
    for (const file_kind kind : {file_kind::mixing, file_kind::delay}) {
        check_request request;
        request.kind = kind;
        request.stream = kMixing[1];
        request.stream->rate = 48000;
        const file_report report = check_file(path, request);
        check_print(report_text(report, true, 80));
        ZEL_FUZZ_CHECK(!reports_json({report}).empty());
    }
    return 0;
}
