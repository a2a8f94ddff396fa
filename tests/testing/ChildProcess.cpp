#include "tests/testing/ChildProcess.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "TallowbeckCore/posix/SystemCall.hpp"
#include "tests/testing/BecomesTrue.hpp"

namespace tallowbeck::testing {
namespace {

using namespace std::chrono_literals;

// Who keeps polling is never more than this late to see the end.
constexpr auto pollInterval = 1ms;

// Where a child that cannot become its program writes the errno why. Both ends close on exec, so
// the parent reads nothing once the program runs.
struct FailurePipe {
    FailurePipe() {
        int ends[2];
        if (::pipe(ends) != 0) {
            SystemCall::throwLastError("pipe");
        }
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

// A program inherits ignored signals and the signal mask across exec.
void defaultSignals() noexcept {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    sigemptyset(&byDefault.sa_mask);
    // SIGKILL, SIGSTOP and the C library's own signals refuse, and keep their defaults anyway.
    for (int signalNumber = 1; signalNumber < NSIG; ++signalNumber) {
        ::sigaction(signalNumber, &byDefault, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Puts the given descriptors in place of the standard streams; answers 0 or the errno why not.
int redirect(ChildStreams streams) noexcept {
    for (const auto& [descriptor, target] :
         {std::pair{streams.input, STDIN_FILENO}, std::pair{streams.output, STDOUT_FILENO},
          std::pair{streams.error, STDERR_FILENO}}) {
        // A descriptor already in place only loses its close-on-exec flag.
        const int result =
            descriptor == target ? ::fcntl(target, F_SETFD, 0) : ::dup2(descriptor, target);
        if (descriptor >= 0 && result < 0) {
            return errno;
        }
    }
    return 0;
}

// Answers 0, or the error `prepare` failed with.
int preparationError(const std::function<void()>& prepare) noexcept {
    try {
        if (prepare) {
            prepare();
        }
        return 0;
    } catch (const std::system_error& error) {
        return error.code().value();
    } catch (...) {
        return ECANCELED;
    }
}

// Runs in the forked child, which becomes the program or tells `failures` why it cannot.
[[noreturn]] void becomeProgram(const char* path, char* const* argv, ChildStreams streams,
                                const std::function<void()>& prepare, int failures) noexcept {
    defaultSignals();
    int error = redirect(streams);
    if (error == 0) {
        error = preparationError(prepare);
    }
    if (error == 0) {
        ::execv(path, argv);
        error = errno;
    }
    static_cast<void>(::write(failures, &error, sizeof error));
    ::_exit(127);
}

}  // namespace

std::optional<int> ChildExit::exitStatus() const noexcept {
    return WIFEXITED(waitStatus) ? std::optional(WEXITSTATUS(waitStatus)) : std::nullopt;
}

int ChildExit::shellStatus() const noexcept {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

std::chrono::microseconds ChildExit::processorTime() const noexcept {
    const auto microseconds = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

ChildProcess ChildProcess::start(const std::string& path, const std::vector<std::string>& arguments,
                                 ChildStreams streams, const std::function<void()>& prepare) {
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    FailurePipe failures;
    const pid_t pid = ::fork();
    if (pid == 0) {
        becomeProgram(path.c_str(), argv.data(), streams, prepare, failures.writeEnd.get());
    }
    ChildProcess child = started(pid, "fork");
    failures.writeEnd.close();
    int error = 0;
    const auto reported = SystemCall::retryingInterrupted(
        [&] { return ::read(failures.readEnd.get(), &error, sizeof error); });
    if (reported == static_cast<ssize_t>(sizeof error)) {
        child.waitForExit();
        throw std::system_error(error, std::generic_category(), "start " + path);
    }
    return child;
}

ChildProcess ChildProcess::started(pid_t pid, const char* call) {
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), call);
    }
    return ChildProcess(pid);
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    if (this != &other) {
        killAndReap();
        pid_ = std::exchange(other.pid_, -1);
    }
    return *this;
}

ChildProcess::~ChildProcess() { killAndReap(); }

void ChildProcess::signal(int signalNumber) const noexcept {
    if (pid_ > 0) {
        ::kill(pid_, signalNumber);
    }
}

std::optional<ChildExit> ChildProcess::exitWithin(std::chrono::milliseconds limit) {
    if (pid_ <= 0) {
        throw std::logic_error("waiting for a child process that has already been reaped");
    }
    std::optional<ChildExit> exit;
    becomesTrueWithin(
        limit, [&] { return (exit = reapIfEnded()).has_value(); }, pollInterval);
    return exit;
}

std::optional<ChildExit> ChildProcess::reapIfEnded() {
    ChildExit exit;
    const pid_t reaped = SystemCall::retryingInterrupted(
        [&] { return ::wait4(pid_, &exit.waitStatus, WNOHANG, &exit.usage); });
    if (reaped < 0) {
        SystemCall::throwLastError("wait4");
    }
    if (reaped != pid_) {
        return std::nullopt;
    }
    pid_ = -1;
    return exit;
}

ChildExit ChildProcess::waitForExit(std::chrono::milliseconds limit) {
    if (const std::optional<ChildExit> exit = exitWithin(limit)) {
        return *exit;
    }
    killAndReap();
    throw std::runtime_error("the child process was still running after the time it was given");
}

ChildExit ChildProcess::stop(std::chrono::milliseconds grace) {
    signal(SIGTERM);
    if (const std::optional<ChildExit> exit = exitWithin(grace)) {
        return *exit;
    }
    signal(SIGKILL);
    return waitForExit();
}

void ChildProcess::killAndReap() noexcept {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    pid_ = -1;
}

}  // namespace tallowbeck::testing
