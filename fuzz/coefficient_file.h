#pragma once

#include <cstdint>
#include <string>

namespace zel_fuzz {

/// A file in memory, at a path, whose content is replaced for each input.
class coefficient_file {
  public:
    coefficient_file();
    coefficient_file(const coefficient_file&) = delete;
    coefficient_file& operator=(const coefficient_file&) = delete;
    ~coefficient_file();

    void replace(const std::uint8_t* data, std::size_t size) const;
    const std::string& path() const { return name; }

  private:
    int fd;
    std::string name;
};

}  // namespace zel_fuzz
