#include "tests/testing/FileContents.hpp"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tallowbeck::testing {

std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace tallowbeck::testing
