// A file of any content through `zel-fc check`, as both kinds of coefficient file: every fallback
// has its reason and every reason its fallback, and what is printed obeys no terminal and fits it.

#include <algorithm>
#include <sstream>

#include "captured_log.h"
#include "check_print.h"
#include "coefficient_check.h"
#include "fuzz_input.h"

namespace {

void check(const file_report& report) {
    bool error = false;
    for (const finding& found : report.findings) {
        error = error || found.level == severity::error;
        ZEL_FUZZ_CHECK(!found.what.empty() && !found.device.empty() && !found.mend.empty());
        ZEL_FUZZ_CHECK(!report.readable || (found.place.line > 0 && found.place.column > 0));
    }
    // Of a file with too many problems, only the first are looked at.
    ZEL_FUZZ_CHECK(!report.complete || error != report.decided->used);
}

/// Printable, and within 80 columns but for the lines that name the file.
void check_print(const std::string& text, const std::string& path) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        ZEL_FUZZ_CHECK(
            std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c < 0x7F; }));
        ZEL_FUZZ_CHECK(line.size() <= 80 || line.find(path) != std::string::npos);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    const std::string path = zel_fuzz::write_coefficients(data, size);
    for (const stream_request& stream :
         {stream_request{2, "2.0", 2, 48000}, {6, "5.1", 2, 48000}, {8, "", 1, 16000}}) {
        for (const file_kind kind : {file_kind::mixing, file_kind::delay}) {
            check_request request;
            request.kind = kind;
            request.stream = stream;
            request.all = false;
            check(check_file(path, request));
            request.all = true;
            check_print(report_text(check_file(path, request), true, 80), path);
        }
    }
    return 0;
}
