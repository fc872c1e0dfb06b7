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
#include <vector>

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

void print_row(const check_row& row) {
    std::printf("%-8s %-16s %s\n", word_of(row.result, false), row.check.c_str(), row.seen.c_str());
    if (!row.remedy.empty()) {
        std::printf("%-8s %-16s > %s\n", "", "", row.remedy.c_str());
    }
    std::fflush(stdout);
}

/// Takes the child's rows until it ends, or for too long says nothing: true.
bool take_rows(int from, bool prints, std::vector<check_row>* rows) {
    std::string text;
    char piece[4096];
    pollfd source{from, POLLIN, 0};
    while (poll(&source, 1, kPatienceMs) != 0) {
        const ssize_t got = read(from, piece, sizeof(piece));
        if (got <= 0) {
            return false;
        }
        text.append(piece, static_cast<std::size_t>(got));
        while (std::count(text.begin(), text.end(), '\0') >= 4) {
            std::string part[4];
            for (std::string& one : part) {
                one = text.c_str();
                text.erase(0, one.size() + 1);
            }
            rows->push_back({part[0], static_cast<verdict>(part[1].front()), part[2], part[3]});
            if (prints) {
                print_row(rows->back());
            }
        }
    }
    return true;
}

/// All checks in a child; in the end a row on how it ended, where that was not well.
std::vector<check_row> run_checks(const stream_format& client, bool prints) {
    std::vector<check_row> rows;
    int ends[2];
    std::fflush(nullptr);
    const pid_t child = pipe(ends) == 0 ? fork() : -1;
    if (child == 0) {
        close(ends[0]);
        examination found{client, ends[1]};
        for (const auto check : kChecks) {
            check(&found);
        }
        _exit(0);
    }
    check_row end{"end", verdict::failure, "", ""};
    int status = 0;
    if (child < 0) {
        end.seen = std::string("no process to be had: ") + std::strerror(errno);
    } else if (close(ends[1]); take_rows(ends[0], prints, &rows)) {
        kill(child, SIGKILL);  // not waited for: the kernel may hold it
        end.seen = "the next check gives no answer in " + std::to_string(kPatienceMs / 1000) + " s";
        end.remedy = "A call of the card's driver, or of a plugin, does not return.";
    } else if (waitpid(child, &status, 0); status != 0) {
        end.seen = std::string("the next check crashes: ") +
                   (WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "see above");
        end.remedy =
            "A library that was built for another version of tinyalsa does so: build it against "
            "the headers of the one that it runs with. Else a debugger tells.";
    }
    if (!end.seen.empty()) {
        rows.push_back(end);
        prints ? print_row(end) : void();
    }
    return rows;
}

void print_json(const std::vector<check_row>& rows, bool works) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> all(cJSON_CreateObject(), cJSON_Delete);
    cJSON_AddBoolToObject(all.get(), "works", works);
    cJSON* checks = cJSON_AddArrayToObject(all.get(), "checks");
    for (const check_row& row : rows) {
        cJSON* one = cJSON_CreateObject();
        cJSON_AddStringToObject(one, "check", row.check.c_str());
        cJSON_AddStringToObject(one, "result", word_of(row.result, true));
        cJSON_AddStringToObject(one, "seen", valid_utf8(row.seen).c_str());
        cJSON_AddStringToObject(one, "remedy", valid_utf8(row.remedy).c_str());
        cJSON_AddItemToArray(checks, one);
    }
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_Print(all.get()), cJSON_free);
    std::puts(text ? text.get() : "{}");
}

}  // namespace

void examination::add(const char* check, verdict result, const std::string& seen,
                      const std::string& remedy) const {
    std::string text;
    for (const std::string& part : {std::string(check), std::string(1, static_cast<char>(result)),
                                    seen, result == verdict::pass ? "" : remedy}) {
        text.append(part.c_str()).push_back('\0');
    }
    for (ssize_t done = 1; done > 0 && !text.empty();) {
        done = write(told, text.data(), text.size());
        text.erase(0, static_cast<std::size_t>(std::max<ssize_t>(done, 0)));
    }
}

void examination::skip(std::initializer_list<const char*> checks,
                       const std::string& missing) const {
    for (const char* check : checks) {
        add(check, verdict::skipped, "not tried without " + missing, "");
    }
}

bool print_examination(const stream_format& client, bool json) {
    const std::vector<check_row> rows = run_checks(client, !json);
    const auto count = [&](verdict result) {
        return std::count_if(rows.begin(), rows.end(),
                             [=](const check_row& row) { return row.result == result; });
    };
    const auto failures = count(verdict::failure);
    const auto warnings = count(verdict::warning);
    if (json) {
        print_json(rows, failures == 0);
    } else {
        std::printf("Card 70 %s here: %td of %zu checks failed, %td warning%s.\n",
                    failures == 0 ? "works" : "does not work", failures, rows.size(), warnings,
                    warnings == 1 ? "" : "s");
    }
    return failures == 0;
}
