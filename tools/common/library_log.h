#pragma once

#include <string>
#include <vector>

/// One message of the library.
struct library_message {
    int priority;
    std::string text;  ///< with its "function:line " in front
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

/// Whether messages that no thread keeps are printed, those at the program's end among them. They
/// go to the standard error stream, as the host's log writes them.
void print_library_log(bool wanted);
/// The errors that no thread has kept since `print_library_log`, each once, a line each.
std::string failure_reasons();
/// A message's text without its "function:line " and without an end of line.
std::string without_origin(const std::string& text);
