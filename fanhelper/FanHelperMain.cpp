#include "fanhelper/FanHelperMain.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <stdexcept>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/fanboost/FanBoostHost.hpp"
#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "TallowbeckCore/platform/RunningExecutable.hpp"
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

int serve(const FanHelperOptions& options, const FanHelperMain::Machine& machine) {
    requireSupportedMachine(machine.hardware);
    FanBoostRecoveryFile journal(options.recoveryFile);
    // Restores automatic control first when the flag is set, before any client can connect.
    FanBoostSession session(machine.hardware, journal, machine.thermalState, machine.wallClock);
    const std::unique_ptr<FanBoostHostTransport> transport = openFanHelperTransport(options);
    FanBoostHost host(session, *transport);
    if (host.run().restorationPending) {
        fmt::print(stderr,
                   "{}: automatic fan control could not be restored; the helper restores it "
                   "when it starts again\n",
                   programName);
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
