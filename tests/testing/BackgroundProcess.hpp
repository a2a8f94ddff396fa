#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tallowbeck::testing {

// A program that runs beside a test, with its standard output and error in files. It is killed
// and reaped when the object goes, whatever became of the test, and it dies with the test
// process should that crash.
class BackgroundProcess {
public:
    struct Launch {
        std::filesystem::path program;
        std::vector<std::string> arguments;  // not counting the program's name
        std::filesystem::path standardOutput = "/dev/null";
        std::filesystem::path standardError = "/dev/null";
        // Runs in the child right before the program starts; throwing ends the child with 126.
        std::function<void()> prepare;
    };

    // Throws std::system_error when the child cannot be forked.
    explicit BackgroundProcess(Launch launch);
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    pid_t pid() const noexcept { return pid_; }
    bool running() const noexcept { return !exitStatus_; }

    // Its exit status, or 128 plus the signal that ended it, as a shell says; nothing when it is
    // still running after `timeout`.
    std::optional<int> exitWithin(std::chrono::milliseconds timeout);
    void signal(int signalNumber) const;
    // SIGTERM, and SIGKILL when that has not ended it within `patience`; then reaped.
    void stop(std::chrono::milliseconds patience);

private:
    pid_t pid_ = -1;
    std::optional<int> exitStatus_;
};

// Polls `condition` every few milliseconds until it holds or `timeout` has passed; tells which.
bool becomesTrueWithin(std::chrono::milliseconds timeout, const std::function<bool()>& condition);

}  // namespace tallowbeck::testing
