#include "tests/testing/ProgramRun.hpp"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"

namespace tallowbeck::testing {

ProgramResult runProgram(const std::string& path, const std::vector<std::string>& arguments) {
    const FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!nothing.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "open /dev/null");
    }
    const CapturedOutput output;
    const CapturedOutput error;
    const ChildExit exit =
        ChildProcess::start(
            path, arguments,
            {.input = nothing.get(), .output = output.descriptor(), .error = error.descriptor()})
            .waitForExit();
    return {.exitStatus = exit.exitStatus().value_or(-1),
            .standardOutput = output.text(),
            .standardError = error.text()};
}

}  // namespace tallowbeck::testing
