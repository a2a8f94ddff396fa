#include "tests/testing/BackgroundProcess.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

constexpr int cannotStartStatus = 126;
constexpr int notFoundStatus = 127;

void redirect(const std::filesystem::path& path, int flags, int target) {
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor < 0 || ::dup2(descriptor, target) < 0) {
        ::_exit(cannotStartStatus);
    }
}

[[noreturn]] void becomeProgram(const BackgroundProcess::Launch& launch) {
    // Dies with the test process, so that no crash leaves it behind.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    redirect("/dev/null", O_RDONLY, STDIN_FILENO);
    redirect(launch.standardOutput, O_WRONLY | O_CREAT | O_APPEND, STDOUT_FILENO);
    redirect(launch.standardError, O_WRONLY | O_CREAT | O_APPEND, STDERR_FILENO);
    try {
        if (launch.prepare) {
            launch.prepare();
        }
    } catch (...) {
        ::_exit(cannotStartStatus);
    }
    std::vector<std::string> words{launch.program.string()};
    words.insert(words.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    ::execv(launch.program.c_str(), argv.data());
    ::_exit(notFoundStatus);
}

int shellStatus(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

}  // namespace

BackgroundProcess::BackgroundProcess(Launch launch) {
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid_ == 0) {
        becomeProgram(launch);
    }
}

BackgroundProcess::~BackgroundProcess() {
    if (running()) {
        signal(SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
}

std::optional<int> BackgroundProcess::exitWithin(std::chrono::milliseconds timeout) {
    becomesTrueWithin(timeout, [this] {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            exitStatus_ = shellStatus(status);
        }
        return !running();
    });
    return exitStatus_;
}

void BackgroundProcess::signal(int signalNumber) const {
    if (running()) {
        ::kill(pid_, signalNumber);
    }
}

void BackgroundProcess::stop(std::chrono::milliseconds patience) {
    signal(SIGTERM);
    if (!exitWithin(patience)) {
        signal(SIGKILL);
        exitWithin(patience);
    }
}

bool becomesTrueWithin(std::chrono::milliseconds timeout, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
}

}  // namespace tallowbeck::testing
