#pragma once

#include <string>
#include <vector>

namespace zel_test {

/// A line of config/known-bad/expected.txt: a broken coefficient file and what is expected of it.
struct known_bad_file {
    std::string name;  ///< below the folder
    std::string path;
    bool mixing;            ///< else a delay file
    unsigned int channels;  ///< the stream
    std::string layout;
    unsigned int outputs;
    std::string outcome;
    std::vector<std::string> findings;
    std::string log;  ///< empty when the device has nothing to say
};

/// All of them; throws std::runtime_error when the table and the folder disagree.
const std::vector<known_bad_file>& known_bad_files();

}  // namespace zel_test
