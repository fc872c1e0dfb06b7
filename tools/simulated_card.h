#pragma once

#include <tinyalsa/mixer.h>

#include <cstdint>
#include <string>

/// The simulated sound card's settings, through its mixer. On a machine whose loopback capture is
/// a real card there is none; every call then fails with a message.
class simulated_card {
  public:
    simulated_card();
    ~simulated_card() { mixer_close(handle); }
    simulated_card(const simulated_card&) = delete;
    simulated_card& operator=(const simulated_card&) = delete;

    bool set(const std::string& control, int value);
    bool choose(const std::string& control, const std::string& item);
    bool play_file(const std::string& path);
    const std::string& error() const { return message; }

  private:
    mixer_ctl* find(const std::string& control);
    bool fail(const std::string& text);

    mixer* handle;
    std::string message;
};
