#include "cli/FansCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"
#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"
#include "cli/ReportText.hpp"

namespace tallowbeck::cli {

FansCommand::FansCommand(CLI::App& app)
    : command_(app.add_subcommand("fans", "Show both fans and the die temperatures")),
      boost_(*command_) {
    command_->add_flag("--json", json_, "Print one JSON object instead of text");
    command_->callback([this] { run(); });
}

void FansCommand::run() const {
    if (boost_.parsed()) {
        return;
    }
    FanBoostHardware hardware;
    const Readings readings = read(hardware);
    fmt::print("{}\n", json_ ? jsonReport(readings) : humanReport(readings));
}

FansCommand::Readings FansCommand::read(FanBoostControlling& hardware) {
    try {
        std::vector<FanSpeed> fans = hardware.readFans();
        return {std::move(fans), hardware.readChips()};
    } catch (const FanBoostHardwareError& error) {
        throw std::runtime_error(fmt::format("cannot read the fans: {}", error.what()));
    }
}

std::string FansCommand::humanReport(const Readings& readings) {
    std::string report;
    for (const FanSpeed& fan : readings.fans) {
        report += fmt::format(
            "Fan {}:    {:.0f} rpm (minimum {:.0f}, maximum {:.0f}, target {:.0f}), {}\n", fan.id,
            fan.actualRPM, fan.minimumRPM, fan.maximumRPM, fan.targetRPM,
            fan.manual ? "forced" : "automatic");
    }
    report += fmt::format("CPU die:  {}\nGPU die:  {}", celsiusText(readings.chips.cpuCelsius),
                          celsiusText(readings.chips.gpuCelsius));
    return report;
}

std::string FansCommand::jsonReport(const Readings& readings) {
    JSONWriter json;
    json.beginObject().key("fans").beginArray();
    for (const FanSpeed& fan : readings.fans) {
        fan.writeJSON(json);
    }
    json.endArray()
        .optionalMember("cpuCelsius", readings.chips.cpuCelsius)
        .optionalMember("gpuCelsius", readings.chips.gpuCelsius)
        .endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
