#include "tests/testing/Samples.hpp"

namespace tallowbeck::testing {

TemperatureSample sampleAt(double recordedAt, std::optional<double> batteryCelsius) {
    return TemperatureSample(UUID::random(), recordedAt, batteryCelsius, 48.25, 41.0,
                             SystemThermalState::nominal, false, false);
}

std::vector<TemperatureSample> listOf(std::span<const TemperatureSample> samples) {
    return {samples.begin(), samples.end()};
}

TemperatureSample recordedAgain(const TemperatureSample& sample, double recordedAt) {
    return TemperatureSample(sample.id(), recordedAt, sample.batteryCelsius(), sample.cpuCelsius(),
                             sample.gpuCelsius(), sample.thermalState(), sample.sessionActive(),
                             sample.lidClosed());
}

}  // namespace tallowbeck::testing
