// Runs a fuzzer's corpus through it without libFuzzer, whatever the compiler.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_input.h"

namespace {

TEST(corpus, passes) {
    std::size_t inputs = 0;
    for (const char* folder : {ZEL_CORPUS_FOLDERS}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (!entry.is_regular_file()) {
                continue;
            }
            SCOPED_TRACE(entry.path());
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            // Of exactly the input's size, so that a read beyond its end shows.
            const std::vector<std::uint8_t> input(text.begin(), text.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++inputs;
        }
    }
    EXPECT_GT(inputs, 0U);
}

}  // namespace
