#include "TallowbeckCore/fanboost/FanBoostHardware.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "TallowbeckCore/fanboost/FanBoostHardwareError.hpp"
#include "TallowbeckCore/fanboost/SMCFanController.hpp"
#include "TallowbeckCore/temperature/SMCKeyData.hpp"

namespace tallowbeck {
namespace {

using Kind = FanBoostHardwareError::Kind;

constexpr double highestDecodedRPM = 20000.0;
constexpr uid_t superuser = 0;

}  // namespace

FanBoostHardware::FanBoostHardware(SMCUserClient& smc, SystemValues& values,
                                   const ProcessCredentials& credentials,
                                   std::function<double()> wallClock)
    : smc_(smc),
      values_(values),
      credentials_(credentials),
      wallClock_(std::move(wallClock)),
      sensor_(values) {}

std::optional<double> FanBoostHardware::decode(std::uint32_t type,
                                               std::span<const std::uint8_t> bytes) noexcept {
    if (type == SMCKeyData::byteType && bytes.size() == 1) {
        return bytes[0];
    }
    if (type != SMCKeyData::floatType || bytes.size() != 4) {
        return std::nullopt;
    }
    float single = 0;
    std::memcpy(&single, bytes.data(), sizeof single);
    const double value = single;
    // NaN fails both comparisons and the infinities lie outside the range.
    if (value >= 0.0 && value <= highestDecodedRPM) {
        return value;
    }
    return std::nullopt;
}

SMCFanController FanBoostHardware::openController() const {
    return SMCFanController::open(smc_, values_);
}

void FanBoostHardware::requireSuperuser() const {
    if (credentials_.effectiveUserID() != superuser) {
        throw FanBoostHardwareError(Kind::rejected);
    }
}

std::vector<FanSpeed> FanBoostHardware::readFans() { return openController().readFans(); }

ChipTemperatureReading FanBoostHardware::readChips() noexcept {
    return sensor_.readTemperatures(smc_, wallClock_);
}

void FanBoostHardware::setMaximum() {
    requireSuperuser();
    const std::vector<FanSpeed> fans = readFans();
    {
        const SMCFanController controller = openController();
        for (const FanSpeed& fan : fans) {
            const auto index = static_cast<std::size_t>(fan.id);
            controller.setTarget(index, fan.maximumRPM);
            controller.setMode(index, true);
            controller.setTarget(index, fan.maximumRPM);
        }
    }
    const std::vector<FanSpeed> verified = readFans();
    if (!std::ranges::all_of(verified, &FanSpeed::holdsMaximum)) {
        throw FanBoostHardwareError(Kind::rejected);
    }
}

void FanBoostHardware::restoreAutomatic() {
    requireSuperuser();
    bool modeWriteFailed = false;
    {
        const SMCFanController controller = openController();
        for (std::size_t index = 0; index < SMCFanController::fanCount; ++index) {
            try {
                controller.setMode(index, false);
            } catch (const FanBoostHardwareError&) {
                // The other fan is still worth handing back.
                modeWriteFailed = true;
            }
        }
    }
    const std::vector<FanSpeed> fans = readFans();
    if (modeWriteFailed || std::ranges::any_of(fans, &FanSpeed::manual)) {
        throw FanBoostHardwareError(Kind::rejected);
    }
}

}  // namespace tallowbeck
