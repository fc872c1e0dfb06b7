#pragma once

#include <map>
#include <string>
#include <vector>

namespace zel_test {

/// A value of an Android.bp file: a text (true and false as such), a list of texts, or a map.
struct blueprint_value {
    std::string text;
    std::vector<std::string> list;
    std::map<std::string, blueprint_value> map;

    /// The member of that name, an empty value when there is none.
    const blueprint_value& operator[](const std::string& name) const;
};

/// The modules of Android.bp files by their "name"; those without one are left out. Variables are
/// replaced by what they hold. Throws std::runtime_error at text that is no blueprint.
std::map<std::string, blueprint_value> read_blueprints(const std::vector<std::string>& paths);

}  // namespace zel_test
