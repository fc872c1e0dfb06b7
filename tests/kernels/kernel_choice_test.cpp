#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "captured_log.h"
#include "kernel_rows.h"

namespace {

TEST(kernel_choice, plain_is_first_and_what_the_cpu_lacks_is_refused) {
    ASSERT_STREQ(zel_kernel_sets().front().name, "plain");
    const std::string before = zel_kernel_in_use();
    EXPECT_FALSE(zel_use_kernel("altivec"));
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        EXPECT_EQ(with_kernel(set.name).taken, set.supported()) << set.name;
    }
    EXPECT_EQ(zel_kernel_in_use(), before);
}

/// The choice as a new process makes it: death tests run before all others, in a child each.
void print_choice(const char* value) {
    if (value != nullptr) {
        setenv("ZEL_FC_KERNEL", value, 1);
    } else {
        unsetenv("ZEL_FC_KERNEL");
    }
    zel_test::clear_log();
    const std::string name = zel_kernel_in_use();
    setenv("ZEL_FC_KERNEL", "plain", 1);
    std::fprintf(stderr, "uses %s%s.", name.c_str(),
                 name == zel_kernel_in_use() ? "" : ", then another");
    for (const zel_test::log_entry& entry : zel_test::take_log()) {
        std::fprintf(stderr, " %s", entry.text.c_str());
    }
    std::exit(0);
}

TEST(kernel_choice_DeathTest, environment_names_the_kernel_once) {
    const zel_kernel_set* best = nullptr;
    const zel_kernel_set* lacking = nullptr;
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        (set.supported() ? best : lacking) = &set;
    }
    const std::string fastest = std::string("^uses ") + best->name + "\\.";
    EXPECT_EXIT(print_choice(nullptr), testing::ExitedWithCode(0), fastest + "$");
    EXPECT_EXIT(print_choice("plain"), testing::ExitedWithCode(0), "^uses plain\\.$");
    EXPECT_EXIT(print_choice(best->name), testing::ExitedWithCode(0), fastest + "$");
    EXPECT_EXIT(print_choice("sse9"), testing::ExitedWithCode(0),
                fastest + ".*ZEL_FC_KERNEL=sse9 is unknown here, using " + best->name);
    if (lacking != nullptr) {
        EXPECT_EXIT(print_choice(lacking->name), testing::ExitedWithCode(0),
                    fastest + ".* is not supported here, using " + best->name);
    }
}

}  // namespace
