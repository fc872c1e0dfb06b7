#include "doctor.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <utility>

#include "json_value.h"

namespace {

/// For people and for programs.
std::pair<const char*, const char*> words_of(verdict result) {
    switch (result) {
        case verdict::pass:
            return {"ok", "pass"};
        case verdict::warning:
            return {"warning", "warning"};
        case verdict::failure:
            return {"FAILED", "failure"};
        case verdict::skipped:
            break;
    }
    return {"-", "skipped"};
}

void print_row(const check_row& row) {
    std::printf("%-8s %-16s %s\n", words_of(row.result).first, row.check, row.seen.c_str());
    if (!row.remedy.empty()) {
        std::printf("%-8s %-16s > %s\n", "", "", row.remedy.c_str());
    }
    std::fflush(stdout);
}

void print_sum(const examination& found) {
    const std::size_t warnings = found.count(verdict::warning);
    std::printf("Card 70 %s here: %zu of %zu checks failed, %zu warning%s.\n",
                found.works() ? "works" : "does not work", found.count(verdict::failure),
                found.rows.size(), warnings, warnings == 1 ? "" : "s");
}

void print_json(const examination& found) {
    json_value checks = json_value::array();
    for (const check_row& row : found.rows) {
        json_value one = json_value::object();
        one.set("check", row.check)
            .set("result", words_of(row.result).second)
            .set("seen", row.seen)
            .set("remedy", row.remedy);
        checks.append(std::move(one));
    }
    json_value all = json_value::object();
    all.set("works", found.works()).set("checks", std::move(checks));
    all.print();
}

}  // namespace

std::size_t examination::count(verdict result) const {
    return static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [=](const check_row& row) { return row.result == result; }));
}

namespace {

constexpr unsigned int kLongestCheck = 20;  // s
constexpr int kSignals[] = {SIGALRM, SIGSEGV, SIGBUS, SIGABRT, SIGFPE};
examination* g_found = nullptr;
bool g_json = false;

/// A check that hangs or crashes ends the examination; what is known by then is still told.
void give_up(int signal) {
    for (const int one : kSignals) {
        std::signal(one, SIG_DFL);
    }
    examination& found = *g_found;
    const std::string last = found.rows.empty() ? "the begin" : found.rows.back().check;
    found.fail("doctor",
               signal == SIGALRM
                   ? "the check after \"" + last + "\" hangs"
                   : "the check after \"" + last + "\" crashes, signal " + std::to_string(signal),
               "See the rows above, the library's log and the driver's (dmesg).");
    if (g_json) {
        print_json(found);
    } else {
        print_row(found.rows.back());
        print_sum(found);
    }
    std::fflush(stdout);
    _exit(5);
}

}  // namespace

examination examine_card(const stream_format& client, void (*told)(const check_row& row)) {
    constexpr void (*kChecks[])(examination*) = {
        check_tinyalsa,      check_definition,    check_library,           check_version,
        check_voice_utility, check_card_controls, check_coefficient_files, check_virtual_mixer,
        check_stream,        check_rights};
    examination found(client);
    g_found = &found;
    g_json = told == nullptr;
    for (const int one : kSignals) {
        std::signal(one, give_up);
    }
    for (const auto check : kChecks) {
        const std::size_t before = found.rows.size();
        alarm(kLongestCheck);
        check(&found);
        for (std::size_t row = before; told != nullptr && row < found.rows.size(); ++row) {
            told(found.rows[row]);
        }
    }
    alarm(0);
    for (const int one : kSignals) {
        std::signal(one, SIG_DFL);
    }
    return found;
}

bool print_examination(const stream_format& client, bool json) {
    const examination found = examine_card(client, json ? nullptr : print_row);
    json ? print_json(found) : print_sum(found);
    return found.works();
}
