#include "doctor.h"

#include <cjson/cJSON.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "examination.h"
#include "valid_utf8.h"

namespace {

constexpr int kPatienceMs = 10'000;  ///< between two rows

constexpr void (*kChecks[])(examination*) = {
    check_version,        check_tinyalsa,      check_definition,    check_library,
    check_other_programs, check_voice_utility, check_card_controls, check_coefficient_files,
    check_virtual_mixer,  check_stream,        check_rights};

/// For people and for programs.
const char* word_of(verdict result, bool json) {
    constexpr const char* kWords[][2] = {
        {"ok", "pass"}, {"warning", "warning"}, {"FAILED", "failure"}, {"-", "skipped"}};
    return kWords[static_cast<int>(result) - static_cast<int>(verdict::pass)][json ? 1 : 0];
}

void print_object(const char* check, verdict result, const std::string& seen,
                  const std::string& remedy) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> row(cJSON_CreateObject(), cJSON_Delete);
    cJSON_AddStringToObject(row.get(), "check", check);
    cJSON_AddStringToObject(row.get(), "result", word_of(result, true));
    cJSON_AddStringToObject(row.get(), "seen", valid_utf8(seen).c_str());
    cJSON_AddStringToObject(row.get(), "remedy", valid_utf8(remedy).c_str());
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_PrintUnformatted(row.get()),
                                                      cJSON_free);
    std::fputs(text ? text.get() : "{}", stdout);
}

/// All checks in a child, which prints their rows; in the end a row on how it ended, where that was
/// not well. A letter for each row: its verdict.
std::string run_checks(examination* found) {
    std::string verdicts;
    int ends[2];
    std::fflush(nullptr);
    const pid_t child = pipe(ends) == 0 ? fork() : -1;
    if (child == 0) {
        close(ends[0]);
        found->told = ends[1];
        for (const auto check : kChecks) {
            check(found);
        }
        _exit(0);
    }
    std::string seen, remedy;
    if (child < 0) {
        seen = std::string("no process to be had: ") + std::strerror(errno);
    } else {
        close(ends[1]);
        pollfd source{ends[0], POLLIN, 0};
        int ready = 0;
        for (char row = 0; (ready = poll(&source, 1, kPatienceMs)) != 0 &&
                           read(ends[0], &row, sizeof(row)) == sizeof(row);) {
            verdicts += row;
        }
        int status = 0;
        if (ready == 0) {
            kill(child, SIGKILL);  // not waited for: the kernel may hold it
            seen = "the next check gives no answer in " + std::to_string(kPatienceMs / 1000) + " s";
            remedy = "A call of the card's driver, or of a plugin, does not return.";
        } else if (waitpid(child, &status, 0); status != 0) {
            seen = std::string("the next check crashes: ") +
                   (WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "see above");
            remedy =
                "A library that was built for another version of tinyalsa does so: build it "
                "against the headers of the one that it runs with. Else a debugger tells.";
        }
    }
    if (!seen.empty()) {
        found->first = verdicts.empty();
        found->add("end", verdict::failure, seen, remedy);
        verdicts += static_cast<char>(verdict::failure);
    }
    return verdicts;
}

}  // namespace

void examination::add(const char* check, verdict result, const std::string& seen,
                      const std::string& remedy) const {
    const std::string mend = result == verdict::pass ? "" : remedy;
    if (json) {
        std::fputs(std::exchange(first, false) ? "" : ",\n", stdout);
        print_object(check, result, seen, mend);
    } else {
        std::printf("%-8s %-16s %s\n", word_of(result, false), check, seen.c_str());
        mend.empty() ? 0 : std::printf("%-8s %-16s > %s\n", "", "", mend.c_str());
    }
    std::fflush(stdout);
    if (told >= 0 && write(told, &result, sizeof(result)) != sizeof(result)) {
        _exit(1);  // nobody is left to tell
    }
}

void examination::skip(std::initializer_list<const char*> checks,
                       const std::string& missing) const {
    for (const char* check : checks) {
        add(check, verdict::skipped, "not tried without " + missing, "");
    }
}

bool print_examination(const stream_format& client, bool json) {
    examination found{client, json};
    std::fputs(json ? "{\"checks\": [\n" : "", stdout);
    const std::string verdicts = run_checks(&found);
    const auto count = [&](verdict result) {
        return std::count(verdicts.begin(), verdicts.end(), static_cast<char>(result));
    };
    const auto failures = count(verdict::failure);
    const auto warnings = count(verdict::warning);
    if (json) {
        std::printf("\n], \"works\": %s}\n", failures == 0 ? "true" : "false");
    } else {
        std::printf("Card 70 %s here: %td of %zu checks failed, %td warning%s.\n",
                    failures == 0 ? "works" : "does not work", failures, verdicts.size(), warnings,
                    warnings == 1 ? "" : "s");
    }
    return failures == 0;
}
