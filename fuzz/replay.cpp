// Runs a fuzzer's corpus through it without libFuzzer, whatever the compiler, and for some seconds
// random changes of it: less clever than libFuzzer's, but always the same ones first.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "fuzz_input.h"

namespace {

constexpr unsigned int kSeed = 20;
constexpr std::size_t kLongest = 4096;

using bytes = std::vector<std::uint8_t>;

struct named_input {
    std::filesystem::path path;
    bytes data;
};

/// In the order of their names, which doesn't depend on the file system.
std::vector<named_input> corpus() {
    std::vector<named_input> inputs;
    for (const char* folder : {ZEL_CORPUS_FOLDERS}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.is_regular_file()) {
                std::ifstream file(entry.path(), std::ios::binary);
                inputs.push_back({entry.path(), bytes(std::istreambuf_iterator<char>(file), {})});
            }
        }
    }
    std::sort(inputs.begin(), inputs.end(),
              [](const named_input& a, const named_input& b) { return a.path < b.path; });
    return inputs;
}

/// Of exactly the input's size, so that a read beyond its end shows.
void run(const bytes& data) {
    const bytes input(data);
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

bytes changed(const std::vector<named_input>& inputs, std::mt19937& random) {
    const auto below = [&](std::size_t end) { return random() % std::max<std::size_t>(end, 1); };
    bytes data = inputs[below(inputs.size())].data;
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
        const auto at = data.begin() + static_cast<std::ptrdiff_t>(below(data.size()));
        const std::size_t kind = data.empty() ? 1 : below(5);
        if (kind == 0) {
            *at ^= static_cast<std::uint8_t>(1U << below(8));
        } else if (kind == 1) {
            data.insert(at, 1 + below(8), static_cast<std::uint8_t>(random()));
        } else if (kind == 2) {
            data.erase(at, at + static_cast<std::ptrdiff_t>(
                                    1 + below(static_cast<std::size_t>(data.end() - at))));
        } else if (kind == 3) {
            *at = static_cast<std::uint8_t>(random());
        } else {
            const bytes& other = inputs[below(inputs.size())].data;
            const auto from = other.begin() + static_cast<std::ptrdiff_t>(below(other.size()));
            data.erase(at, data.end());
            data.insert(data.end(), from, other.end());
        }
    }
    data.resize(std::min(data.size(), kLongest));
    return data;
}

TEST(corpus, passes) {
    const std::vector<named_input> inputs = corpus();
    ASSERT_FALSE(inputs.empty());
    for (const named_input& input : inputs) {
        std::printf("%s\n", input.path.c_str());  // the last one is the one that aborts
        std::fflush(stdout);
        run(input.data);
    }
}

TEST(corpus, changed_at_random_passes) {
    const std::vector<named_input> inputs = corpus();
    ASSERT_FALSE(inputs.empty());
    std::mt19937 random(kSeed);
    const char* seconds = std::getenv("ZEL_REPLAY_SECONDS");
    const auto end = std::chrono::system_clock::now() +
                     std::chrono::seconds(seconds != nullptr ? std::atol(seconds) : 3);
    std::size_t runs = 0;
    while (std::chrono::system_clock::now() < end) {
        SCOPED_TRACE(testing::Message() << "run " << runs << " of seed " << kSeed);
        run(changed(inputs, random));
        ++runs;
    }
    std::printf("%zu runs\n", runs);
}

}  // namespace
