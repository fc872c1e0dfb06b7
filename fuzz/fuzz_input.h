#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

/// A fuzzer's finding besides what the sanitizers see.
#define ZEL_FUZZ_CHECK(condition)                                                  \
    do {                                                                           \
        if (!(condition)) {                                                        \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, (#condition)); \
            std::abort();                                                          \
        }                                                                          \
    } while (false)

/// What libFuzzer and the replay call, once per input; every fuzzer defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zel_fuzz {

/// Takes decisions from the front of a fuzzer's bytes; zeros when they have run out.
class input {
  public:
    input(const std::uint8_t* data, std::size_t size) : next(data), left(size) {}

    bool empty() const { return left == 0; }
    std::uint8_t byte() {
        std::uint8_t value = 0;
        take(&value, 1);
        return value;
    }
    std::uint32_t word() {
        std::uint32_t value = 0;
        take(&value, sizeof(value));
        return value;
    }
    /// 0 to `limit` - 1, from one byte if that is enough.
    std::uint32_t below(std::uint32_t limit) {
        std::uint32_t value = byte();
        if (limit > 256) {
            value = value << 8 | byte();
        }
        return value % limit;
    }
    template <typename Table>
    auto one_of(const Table& table) {
        return table[below(static_cast<std::uint32_t>(std::size(table)))];
    }
    /// `count` bytes at an allocation of exactly that size, so that one byte too far is seen.
    std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> taken(count);
        take(taken.data(), count);
        return taken;
    }

  private:
    void take(void* to, std::size_t count) {
        const std::size_t there = std::min(count, left);
        if (there != 0) {
            std::memcpy(to, next, there);
        }
        next += there;
        left -= there;
    }

    const std::uint8_t* next;
    std::size_t left;
};

/// The life of a Session, which takes its choices from the input step by step until that is empty.
template <typename Session>
void run_session(const std::uint8_t* data, std::size_t size) {
    input in(data, size);
    Session current(in);
    while (!in.empty()) {
        current.step();
    }
}

}  // namespace zel_fuzz
