#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "scripted_tinyalsa.h"

// What the parts of the scripted tinyalsa share. Everything with `script_lock` held.

struct mixer_ctl {
    unsigned int id = 0;
    zel_test::scripted_control state;
    bool present = true;
};

namespace zel_test {

struct script_state {
    struct fault {
        int wait = 0;
        int times = 0;
        int result = 0;
    };
    std::vector<int> calls = std::vector<int>(static_cast<std::size_t>(call::count));
    std::vector<fault> faults = std::vector<fault>(static_cast<std::size_t>(call::count));
    std::deque<mixer_ctl> controls;
    std::vector<std::pair<unsigned int, std::string>> refused;
    std::vector<opened_stream> opened;
    read_source source;
    int reads_allowed = 0;
    int reads_waiting = 0;
    std::deque<timespec> times;
    unsigned int avail = 0;
    std::deque<unsigned int> events;
    bool skips_waits = false;
    int handles = 0;
};

extern std::mutex script_lock;
extern std::condition_variable script_changed;

script_state& script();
/// Counts the call; true when the script makes it fail.
bool call_fails(call function, int* result = nullptr);

}  // namespace zel_test
