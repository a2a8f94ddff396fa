// Feeds arbitrary bytes to the JSON decoders of the records that are read back from disk or from
// other processes. Decoding may only succeed or throw DecodingError; whatever decodes as a sample
// or a session must survive being written and read again unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostStatus.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"
#include "TallowbeckCore/session/Session.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"

namespace {

void decodeSample(std::string_view text) {
    try {
        const tallowbeck::TemperatureSample sample = tallowbeck::TemperatureSample::fromJSON(text);
        if (tallowbeck::TemperatureSample::fromJSON(sample.json()) != sample) {
            std::abort();
        }
    } catch (const tallowbeck::DecodingError&) {
    }
}

void decodeSession(std::string_view text) {
    try {
        const tallowbeck::Session session = tallowbeck::Session::fromJSON(text);
        if (tallowbeck::Session::fromJSON(session.json()) != session) {
            std::abort();
        }
    } catch (const tallowbeck::DecodingError&) {
    }
}

// Configurations and statuses are what the fan helper and its clients send each other.
void decodeFanBoostRecords(std::string_view text) {
    try {
        const tallowbeck::FanBoostConfiguration configuration =
            tallowbeck::FanBoostConfiguration::fromJSON(text);
        if (tallowbeck::FanBoostConfiguration::fromJSON(configuration.json()) != configuration) {
            std::abort();
        }
    } catch (const tallowbeck::DecodingError&) {
    }
    try {
        const tallowbeck::FanBoostStatus status = tallowbeck::FanBoostStatus::fromJSON(text);
        if (tallowbeck::FanBoostStatus::fromJSON(status.json()).json() != status.json()) {
            std::abort();
        }
    } catch (const tallowbeck::DecodingError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    decodeSample(text);
    decodeSession(text);
    decodeFanBoostRecords(text);
    return 0;
}
