#include "known_bad.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

const std::filesystem::path kFolder = ZEL_KNOWN_BAD_FOLDER;

/// The columns of a line, without the blanks around them.
std::vector<std::string> columns_of(const std::string& line) {
    std::vector<std::string> columns;
    std::istringstream in(line);
    for (std::string column; std::getline(in, column, '|');) {
        const std::size_t begin = column.find_first_not_of(' ');
        const std::size_t end = column.find_last_not_of(' ');
        columns.push_back(begin == std::string::npos ? "" : column.substr(begin, end + 1 - begin));
    }
    columns.resize(6);
    return columns;
}

zel_test::known_bad_file parse(const std::string& line) {
    const std::vector<std::string> columns = columns_of(line);
    zel_test::known_bad_file file{};
    file.name = columns[0];
    file.path = (kFolder / file.name).string();
    file.mixing = file.name.starts_with("mixing/");
    std::istringstream(columns[1]) >> file.channels >> file.layout >> file.outputs;
    file.outcome = columns[2];
    std::istringstream findings(columns[4]);
    for (std::string finding; findings >> finding;) {
        file.findings.push_back(finding);
    }
    file.log = columns[5];
    return file;
}

std::vector<zel_test::known_bad_file> read_all() {
    std::vector<zel_test::known_bad_file> files;
    std::ifstream table(kFolder / "expected.txt");
    for (std::string line; std::getline(table, line);) {
        if (!line.starts_with('#')) {
            files.push_back(parse(line));
            if (!std::filesystem::is_regular_file(files.back().path)) {
                throw std::runtime_error("no file " + files.back().path);
            }
        }
    }
    std::size_t there = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(kFolder)) {
        there += entry.path().extension() == ".json" ? 1U : 0U;
    }
    if (there != files.size()) {
        throw std::runtime_error(std::to_string(there) + " files, but the table has " +
                                 std::to_string(files.size()));
    }
    return files;
}

}  // namespace

const std::vector<zel_test::known_bad_file>& zel_test::known_bad_files() {
    static const std::vector<known_bad_file> files = read_all();
    return files;
}
