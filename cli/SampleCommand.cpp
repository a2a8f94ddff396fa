#include "cli/SampleCommand.hpp"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "TallowbeckCore/temperature/MacTemperatureSensor.hpp"

namespace tallowbeck::cli {

SampleCommand::SampleCommand(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("sample", "Take one temperature sample and print it as JSON");
    command->add_flag("--session-active", sessionActive_,
                      "Mark the sample as taken during a keep-awake session");
    command->callback([this] { run(); });
}

TemperatureSample SampleCommand::takeSample(TemperatureReading& sensor, bool sessionActive) {
    const TemperatureSample sample = sensor.readSample(sessionActive);
    const ChipTemperatureReading chips = sensor.readChipTemperatures();
    return TemperatureSample(sample.id(), sample.recordedAt(), sample.batteryCelsius(),
                             chips.cpuCelsius, chips.gpuCelsius, sample.thermalState(),
                             sample.sessionActive(), sample.lidClosed());
}

void SampleCommand::run() const {
    MacTemperatureSensor sensor;
    fmt::print("{}\n", takeSample(sensor, sessionActive_).json());
}

}  // namespace tallowbeck::cli
