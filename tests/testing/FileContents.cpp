#include "tests/testing/FileContents.hpp"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace tallowbeck::testing {

std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace tallowbeck::testing
