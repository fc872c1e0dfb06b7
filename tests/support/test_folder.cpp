#include "test_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

struct folder {
    std::string path = (std::filesystem::temp_directory_path() / "zel_test_XXXXXX").string();

    folder() {
        if (mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

}  // namespace

const std::string& zel_test::test_folder() {
    static const folder own;
    return own.path;
}

std::string zel_test::write_file(const std::string& name, const std::string& text) {
    std::string path = test_folder() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}
