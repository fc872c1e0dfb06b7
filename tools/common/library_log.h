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

/// Keeps the messages that this thread logs while it lives, apart from all others. The innermost of
/// several takes them.
class thread_library_log {
  public:
    thread_library_log();
    ~thread_library_log();
    thread_library_log(const thread_library_log&) = delete;
    thread_library_log& operator=(const thread_library_log&) = delete;

    /// Those since the last call, oldest first.
    std::vector<library_message> take();

  private:
    std::vector<library_message> messages;
    std::vector<library_message>* outer;
};

/// Whether messages that nobody takes are printed, those at the program's end among them; they are
/// unless this says otherwise.
void print_library_log(bool wanted);
/// Writes a message to the standard error stream in logcat's "brief" form.
void print_library_message(const library_message& message);
/// Tells the errors among the messages, each once, as the reasons of a failure.
void explain_failure(const std::vector<library_message>& messages);
/// A message's text without its "function:line " and without an end of line.
std::string without_origin(const std::string& text);
