#include "tests/testing/ProcessActivity.hpp"

#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/testing/FileContents.hpp"

namespace tallowbeck::testing {
namespace {

std::chrono::microseconds processorTimeIn(const std::string& stat) {
    // The fields after the command's name, which ends with the last ')'; utime and stime are
    // the 14th and 15th fields, the 12th and 13th after the name.
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    const std::vector<std::string> field{std::istream_iterator<std::string>(fields), {}};
    const long ticks = std::stol(field.at(11)) + std::stol(field.at(12));
    return std::chrono::microseconds(ticks * 1'000'000 / ::sysconf(_SC_CLK_TCK));
}

long contextSwitchesIn(const std::string& status) {
    std::istringstream lines(status);
    long count = 0;
    for (std::string line; std::getline(lines, line);) {
        for (const std::string_view key :
             {"voluntary_ctxt_switches:", "nonvoluntary_ctxt_switches:"}) {
            if (line.starts_with(key)) {
                count += std::stol(line.substr(key.size()));
            }
        }
    }
    return count;
}

}  // namespace

ProcessActivity ProcessActivity::of(pid_t pid) {
    const std::filesystem::path folder = "/proc/" + std::to_string(pid);
    return {.processorTime = processorTimeIn(contentsOf(folder / "stat")),
            .contextSwitches = contextSwitchesIn(contentsOf(folder / "status"))};
}

}  // namespace tallowbeck::testing
