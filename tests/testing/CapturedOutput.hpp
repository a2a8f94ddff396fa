#pragma once

#include <string>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck::testing {

// A fresh file for a child process to write to, through `descriptor`, and for the test to read.
class CapturedOutput {
public:
    CapturedOutput();

    int descriptor() const noexcept { return file_.get(); }
    // All that has been written so far.
    std::string text() const;

private:
    TemporaryDirectory directory_;
    FileDescriptor file_;
};

}  // namespace tallowbeck::testing
