#include "tests/testing/CapturedOutput.hpp"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

#include "tests/testing/FileContents.hpp"

namespace tallowbeck::testing {

namespace {

constexpr const char* fileName = "output";

}  // namespace

CapturedOutput::CapturedOutput()
    : file_(::open((directory_.path() / fileName).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                   0600)) {
    if (!file_.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "open");
    }
}

std::string CapturedOutput::text() const { return contentsOf(directory_.path() / fileName); }

}  // namespace tallowbeck::testing
