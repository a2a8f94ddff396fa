#pragma once

#include <string>
#include <vector>

namespace tallowbeck::testing {

// What a program that ran to its end left behind.
struct ProgramResult {
    int exitStatus = -1;  // -1 when it did not exit normally
    std::string standardOutput;
    std::string standardError;
};

// Runs `path` with `arguments` (not counting the program name), waits for it and collects what
// it printed.
ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments);

}  // namespace tallowbeck::testing
