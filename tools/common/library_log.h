#pragma once

#include <string>
#include <vector>

/// One message of the library.
struct library_message {
    int priority;
    std::string tag;
    std::string text;  ///< with its "function:line " in front
};

/// Keeps the messages that the library logs in this program, while one exists; without one they go
/// to the standard error stream at once, as the host's log writes them. Messages that are left at
/// its end are printed then. One at a time; the library logs from any thread.
class held_library_log {
  public:
    held_library_log();
    ~held_library_log();
    held_library_log(const held_library_log&) = delete;
    held_library_log& operator=(const held_library_log&) = delete;

    /// Those since the last call, oldest first.
    std::vector<library_message> take();
};

/// Whether messages that nobody takes are printed, those at the program's end among them; they are
/// unless this says otherwise.
void print_library_log(bool wanted);
/// Writes a message to the standard error stream in logcat's "brief" form.
void print_library_message(const library_message& message);
/// Tells the errors among the messages, each once, as the reasons of a failure.
void explain_failure(const std::vector<library_message>& messages);
/// A message's text without its "function:line ".
std::string without_origin(const std::string& text);
/// The same on one line, blanks by ones.
std::string plain_text(const library_message& message);
