// The properties' areas and their refusals.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "captured_log.h"
#include "converter_access.h"

using zel_test::fc_access;

namespace {

TEST(properties, refuse_what_is_none_and_areas_that_are_missing) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    char area[zel_format_converter::kMaxPathBytes] = {};
    for (const property_e none : {PROP_COUNT, static_cast<property_e>(PROP_COUNT + 1)}) {
        EXPECT_EQ(fc->get(none, area), -EINVAL);
        EXPECT_EQ(fc->set(none, area), -EINVAL);
    }
    for (unsigned int property = 0; property < static_cast<unsigned int>(PROP_COUNT); ++property) {
        zel_test::clear_log();
        EXPECT_EQ(fc->get(static_cast<property_e>(property), nullptr), -EINVAL);
        EXPECT_EQ(fc->set(static_cast<property_e>(property), nullptr), -EINVAL);
        EXPECT_EQ(zel_test::log_count("invalid data"), 2U);
    }
    zel_test::clear_log();
    EXPECT_EQ(fc->set(PROP_TIMESTAMP, area), 0);
    EXPECT_TRUE(zel_test::log_has("undefine 2 property"));
}

TEST(properties, paths_fit_their_area_with_its_terminating_zero) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    constexpr std::size_t kBytes = zel_format_converter::kMaxPathBytes;
    for (const property_e property : {PROP_DELAY_JSON_PATH, PROP_MIXING_JSON_PATH}) {
        const std::string longest(kBytes - 1, 'x');
        EXPECT_EQ(fc->set(property, longest.c_str()), 0);
        char area[kBytes + 1] = {};
        area[kBytes - 1] = '#';
        EXPECT_EQ(fc->get(property, area), 0);
        EXPECT_EQ(area, longest + '#');
        EXPECT_EQ(fc->set(property, std::string(kBytes, 'y').c_str()), -EINVAL);
        EXPECT_EQ(fc->get(property, area), 0);
        EXPECT_EQ(area, longest + '#') << "a refused path changes nothing";
    }
}

}  // namespace
