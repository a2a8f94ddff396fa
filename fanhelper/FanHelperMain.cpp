#include "fanhelper/FanHelperMain.hpp"

#include <fmt/core.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <ctime>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/fanboost/FanBoostHost.hpp"
#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/platform/RunningExecutable.hpp"
#include "TallowbeckCore/posix/StopSignals.hpp"
#include "TallowbeckCore/support/Uptime.hpp"
#include "fanhelper/FanHelperLaunchDefinition.hpp"
#include "fanhelper/FanHelperTransport.hpp"

namespace tallowbeck::fanhelper {
namespace {

constexpr const char* programName = "tallowbeck-fan-helper";

void addOptions(CLI::App& app, FanHelperOptions& options) {
    app.add_option("--socket", options.socket, "Listen at this Unix socket (Linux)")
        ->type_name("PATH");
    app.add_option("--group", options.group, "Let members of this group connect too (Linux)")
        ->type_name("NAME");
    app.add_option("--recovery-file", options.recoveryFile, "Keep the recovery flag in this file")
        ->type_name("PATH");
    app.add_option("--write-launch-definition", options.launchDefinitionFolder,
                   "Write the launch definition into this folder and end (macOS install step)")
        ->type_name("FOLDER");
}

void writeLaunchDefinition(const std::filesystem::path& folder) {
    const std::optional<std::filesystem::path> program = RunningExecutable::path();
    if (!program) {
        throw std::runtime_error("the helper cannot find its own file");
    }
    fmt::print("{}\n", FanHelperLaunchDefinition::write(folder, *program).string());
}

// Only a machine whose fans the hardware recognises is served; any other failure to read them
// is the session's to report, as Fan Boost being unavailable.
void requireSupportedMachine(FanBoostControlling& hardware) {
    try {
        hardware.readFans();
    } catch (const FanBoostHardwareError& error) {
        if (error.kind() == FanBoostHardwareError::Kind::unsupported) {
            throw std::runtime_error(std::string("cannot control the fans: ") + error.what());
        }
    }
}

// The fans, noting why handing them back last failed, so that the helper can say it.
class RestorationNotingFans final : public FanBoostControlling {
public:
    explicit RestorationNotingFans(FanBoostControlling& fans) : fans_(fans) {}

    std::vector<FanSpeed> readFans() override { return fans_.readFans(); }
    ChipTemperatureReading readChips() noexcept override { return fans_.readChips(); }
    void setMaximum() override { fans_.setMaximum(); }
    void restoreAutomatic() override {
        try {
            fans_.restoreAutomatic();
        } catch (const std::exception& error) {
            lastFailure_ = error.what();
            throw;
        }
    }

    const std::string& lastFailure() const noexcept { return lastFailure_; }

private:
    FanBoostControlling& fans_;
    std::string lastFailure_;
};

// While a helper that died with the fans forced left the flag set, nothing may end this one
// before the fans are back with the system: it retries every second, saying why, until the flag
// clears or a stop signal comes. Tells whether the flag cleared.
bool finishRecovery(FanBoostSession& session, const RestorationNotingFans& fans) {
    const sigset_t signals = stopSignals();
    sigset_t previous;
    ::pthread_sigmask(SIG_BLOCK, &signals, &previous);
    std::string reported;
    while (session.status().restorationPending) {
        if (fans.lastFailure() != reported) {
            reported = fans.lastFailure();
            fmt::print(stderr,
                       "{}: automatic fan control could not be restored yet ({}); retrying every "
                       "second\n",
                       programName, reported);
        }
        constexpr timespec retryInterval{.tv_sec = 1, .tv_nsec = 0};
        if (::sigtimedwait(&signals, nullptr, &retryInterval) > 0) {
            break;
        }
        session.tick(Uptime::now());
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return !session.status().restorationPending;
}

void reportUnrestored() {
    fmt::print(stderr,
               "{}: automatic fan control could not be restored; the helper restores it when it "
               "starts again\n",
               programName);
}

int serve(const FanHelperOptions& options, const FanHelperMain::Machine& machine) {
    FanBoostRecoveryFile journal(options.recoveryFile);
    RestorationNotingFans fans(machine.hardware);
    // Restores automatic control first when the flag is set, before anything can end the helper
    // and before any client can connect.
    FanBoostSession session(fans, journal, machine.thermalState, machine.wallClock);
    if (!finishRecovery(session, fans)) {
        reportUnrestored();
        return 0;
    }
    requireSupportedMachine(fans);
    const std::unique_ptr<FanBoostHostTransport> transport = openFanHelperTransport(options);
    FanBoostHost host(session, *transport);
    if (host.run().restorationPending) {
        reportUnrestored();
    }
    return 0;
}

}  // namespace

int FanHelperMain::run(int argc, const char* const* argv, const Machine& machine) noexcept {
    try {
        CLI::App app{"The privileged fan helper: serves Fan Boost to one client at a time",
                     programName};
        FanHelperOptions options;
        addOptions(app, options);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
                return app.exit(error);
            }
            fmt::print(stderr, "{}: {}\n", programName, error.what());
            return usageStatus;
        }
        if (options.launchDefinitionFolder) {
            writeLaunchDefinition(*options.launchDefinitionFolder);
            return 0;
        }
        return serve(options, machine);
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}: {}\n", programName, error.what());
        return failureStatus;
    }
}

}  // namespace tallowbeck::fanhelper
