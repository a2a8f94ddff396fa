// Drives the fan boost session through many random sequences of requests from two clients,
// ticks, clock jumps, thermal states, temperatures around the thresholds, helper restarts and
// injected faults, on a simulated machine. After every step it checks the safety rules against
// the simulated fans, and compares the session with a separately written reference on an
// identical machine. Each sequence has its own seed, printed when it fails; set
// TALLOWBECK_MODEL_SEED to replay one sequence.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostRecoveryFile.hpp"
#include "TallowbeckCore/fanboost/FanBoostSession.hpp"
#include "tests/fakes/FakeRecoveryJournal.hpp"
#include "tests/fakes/FaultyFileCalls.hpp"
#include "tests/simulated/SimulatedMac.hpp"
#include "tests/testing/ReferenceFanBoostSession.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::ReferenceFanBoostSession;
using testing::SimulatedMac;
using testing::SimulatedSMC;
using Random = std::mt19937_64;

constexpr std::uint64_t baseSeed = 0x7A11'0BEC'F4B0'0571ULL;
constexpr int stepsPerSequence = 32;
constexpr int settlingTicks = 3;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
const std::array<std::string, 4> writableKeys{"F0Md", "F1Md", "F0Tg", "F1Tg"};
// How many calls after a fan is forced the firmware takes it back: at once, within the boost's
// own checks, within the next tick, or much later.
constexpr std::array<std::optional<std::size_t>, 9> revertDelays{std::nullopt, 0,  3,   30, 45,
                                                                 60,           75, 100, 200};
const std::array<UUID, 2> clients{*UUID::fromText("6F1C2D3E-4A5B-4C6D-8E7F-8091A2B3C4D5"),
                                  *UUID::fromText("0A0B0C0D-0E0F-4011-8213-141516171819")};

// --- the journals, whose changes can be made to fail alike in both machines ---

class TestJournal {
public:
    virtual ~TestJournal() = default;
    virtual FanBoostRecoveryJournal& journal() = 0;
    // `how` picks one of the journal's own ways to fail.
    virtual void failNextChange(int how) = 0;
    virtual void stopFailing() = 0;
};

class MemoryJournal final : public TestJournal {
public:
    FanBoostRecoveryJournal& journal() override { return journal_; }
    void failNextChange(int how) override {
        if (how == 0) {
            journal_.everyChangeFails = true;
        } else {
            journal_.failingChanges = static_cast<std::size_t>(how);
        }
    }
    void stopFailing() override {
        journal_.everyChangeFails = false;
        journal_.failingChanges = 0;
    }

private:
    testing::FakeRecoveryJournal journal_;
};

class FileJournal final : public TestJournal {
public:
    FanBoostRecoveryJournal& journal() override { return journal_; }
    void failNextChange(int how) override {
        static constexpr std::array functions{testing::FileFunction::write,
                                              testing::FileFunction::fsync,
                                              testing::FileFunction::rename};
        calls_.arm(functions[static_cast<std::size_t>(how) % functions.size()], 1, EIO);
    }
    void stopFailing() override { calls_.disarm(); }

private:
    testing::TemporaryDirectory directory_;
    testing::FaultyFileCalls calls_;
    FanBoostRecoveryFile journal_{directory_.path() / "helper" / "recovery", calls_};
};

// --- one simulated machine with its journal ---

struct Machine {
    explicit Machine(std::unique_ptr<TestJournal> testJournal) : journal(std::move(testJournal)) {
        mac.smc.onWrite = [this](const SMCKeyData&) {
            if (!journal->journal().isPending()) {
                ++writesWithoutFlag;
            }
        };
    }

    std::function<SystemThermalState()> thermalStateReading() {
        return [this] { return thermalState; };
    }

    SimulatedMac mac;
    std::unique_ptr<TestJournal> journal;
    SystemThermalState thermalState = SystemThermalState::nominal;
    std::size_t writesWithoutFlag = 0;
};

// --- steps ---

struct Step {
    enum class Kind {
        begin,
        heartbeat,
        stop,
        tick,
        uptimeAdvance,
        uptimeBackwards,
        uptimeNaN,
        wallClockJump,
        wallClockJumpDuringNextReading,
        wallClockNaN,
        thermalState,
        temperatures,
        unreadableGPU,
        restart,
        smcFault,
        openFault,
        firmwareRevert,
        anotherControllerForces,
        anotherControllerReleases,
        journalFault,
        notSuperuser,
        unsupportedModel,
        threeFans,
        clearFaults,
    };

    Kind kind = Kind::tick;
    std::size_t client = 0;
    double first = 0.0;
    double second = 0.0;
    int option = 0;
    int count = 0;
};

std::string describe(const Step& step) {
    static constexpr std::array names{"begin",
                                      "heartbeat",
                                      "stop",
                                      "tick",
                                      "uptime+",
                                      "uptime-",
                                      "uptime NaN",
                                      "wall clock jump",
                                      "wall clock jump during next reading",
                                      "wall clock NaN",
                                      "thermal state",
                                      "temperatures",
                                      "unreadable GPU",
                                      "restart",
                                      "SMC fault",
                                      "open fault",
                                      "firmware revert",
                                      "another controller forces",
                                      "another controller releases",
                                      "journal fault",
                                      "not superuser",
                                      "unsupported model",
                                      "three fans",
                                      "clear faults"};
    std::ostringstream text;
    text << names[static_cast<std::size_t>(step.kind)] << " client=" << step.client
         << " first=" << step.first << " second=" << step.second << " option=" << step.option
         << " count=" << step.count;
    return text.str();
}

double pick(Random& random, std::initializer_list<double> values) {
    std::uniform_int_distribution<std::size_t> index(0, values.size() - 1);
    return *(values.begin() + static_cast<std::ptrdiff_t>(index(random)));
}

int between(Random& random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

// Thresholds are mostly valid and close to the temperatures; now and then out of range.
Step beginStep(Random& random) {
    Step step{.kind = Step::Kind::begin, .client = static_cast<std::size_t>(between(random, 0, 1))};
    if (between(random, 0, 9) == 0) {
        step.first = pick(random, {60.0, 64.5, 95.5, 200.0, nan});
        step.second = 80.0;
    } else {
        step.first = between(random, 130, 190) / 2.0;
        step.second = between(random, 130, 190) / 2.0;
    }
    return step;
}

// Temperatures around the thresholds in force, with the edges of both bands.
Step temperatureStep(Random& random, const FanBoostConfiguration& thresholds) {
    const std::initializer_list<double> offsets{-12.0, -8.5, -8.0, -7.5,  -4.0, -0.5,
                                                0.0,   0.5,  3.0,  -20.0, 0.25};
    Step step{.kind = Step::Kind::temperatures};
    step.first = thresholds.cpuThresholdCelsius + pick(random, offsets);
    step.second = thresholds.gpuThresholdCelsius + pick(random, offsets);
    if (between(random, 0, 19) == 0) {
        step.first = pick(random, {0.5, 126.0, nan, 125.0, 1.0});
    }
    return step;
}

Step faultStep(Random& random) {
    const int choice = between(random, 0, 99);
    Step step;
    step.option = between(random, 0, 8);
    step.count = between(random, 0, 40);
    step.client = static_cast<std::size_t>(between(random, 0, 1));
    step.first = between(random, 0, 5);
    if (choice < 30) {
        step.kind = Step::Kind::smcFault;
    } else if (choice < 38) {
        step.kind = Step::Kind::openFault;
    } else if (choice < 50) {
        step.kind = Step::Kind::firmwareRevert;
    } else if (choice < 60) {
        step.kind = Step::Kind::anotherControllerForces;
    } else if (choice < 66) {
        step.kind = Step::Kind::anotherControllerReleases;
    } else if (choice < 84) {
        step.kind = Step::Kind::journalFault;
        step.option = between(random, 0, 3);
    } else if (choice < 88) {
        step.kind = Step::Kind::notSuperuser;
    } else if (choice < 92) {
        step.kind = Step::Kind::unsupportedModel;
    } else if (choice < 95) {
        step.kind = Step::Kind::threeFans;
    } else {
        step.kind = Step::Kind::clearFaults;
    }
    return step;
}

Step randomStep(Random& random, const FanBoostConfiguration& thresholds) {
    const int choice = between(random, 0, 999);
    const auto client = static_cast<std::size_t>(between(random, 0, 1));
    if (choice < 100) {
        return beginStep(random);
    }
    if (choice < 220) {
        return {.kind = Step::Kind::heartbeat, .client = client};
    }
    if (choice < 270) {
        return {.kind = Step::Kind::stop, .client = client};
    }
    if (choice < 520) {
        return {.kind = Step::Kind::tick};
    }
    if (choice < 640) {
        return {.kind = Step::Kind::uptimeAdvance,
                .first = pick(random, {0.5, 1.0, 2.0, 5.0, 7.5})};
    }
    if (choice < 670) {
        return {.kind = Step::Kind::uptimeAdvance,
                .first = pick(random, {14.999, 15.0, 16.0, 40.0})};
    }
    if (choice < 685) {
        return {.kind = Step::Kind::uptimeBackwards, .first = pick(random, {0.5, 3.0, 20.0})};
    }
    if (choice < 692) {
        return {.kind = Step::Kind::uptimeNaN};
    }
    if (choice < 710) {
        return {.kind = Step::Kind::wallClockJump, .first = pick(random, {-30.0, -1.0, 9.0, 30.0})};
    }
    if (choice < 730) {
        return {.kind = Step::Kind::wallClockJumpDuringNextReading,
                .first = pick(random, {-1.0, -0.001, 9.5, 10.0, 10.5, 60.0})};
    }
    if (choice < 735) {
        return {.kind = Step::Kind::wallClockNaN};
    }
    if (choice < 775) {
        return {.kind = Step::Kind::thermalState, .option = between(random, 0, 3)};
    }
    if (choice < 875) {
        return temperatureStep(random, thresholds);
    }
    if (choice < 880) {
        return {.kind = Step::Kind::unreadableGPU};
    }
    if (choice < 910) {
        return {.kind = Step::Kind::restart};
    }
    return faultStep(random);
}

// --- applying a step's effect on the machine ---

SimulatedSMC::FaultRule faultRule(const Step& step) {
    static constexpr std::array<const char*, 9> keys{"",     "F0Md", "F1Md", "F0Tg", "F1Tg",
                                                     "FNum", "F0Ac", "F1Mx", "Tp09"};
    static constexpr std::array<std::uint8_t, 4> commands{0, SMCKeyData::readKeyInfoCommand,
                                                          SMCKeyData::readBytesCommand,
                                                          SMCKeyData::writeBytesCommand};
    SimulatedSMC::FaultRule rule;
    rule.fault = static_cast<SimulatedSMC::Fault>(step.count % 3);
    if (step.option > 0) {
        rule.key = keys[static_cast<std::size_t>(step.option)];
    }
    if (const std::uint8_t command = commands[static_cast<std::size_t>(step.count % 4)]) {
        rule.command = command;
    }
    rule.skip = static_cast<std::size_t>(step.count);
    rule.times = step.first >= 5 ? std::nullopt : std::optional<std::size_t>(step.first + 1);
    return rule;
}

void clearFaults(Machine& machine) {
    machine.mac.smc.clearFaults();
    machine.mac.smc.revertForcedModeAfter(std::nullopt);
    machine.journal->stopFailing();
    machine.mac.credentials.effectiveUser = 0;
    machine.mac.values.values[SimulatedMac::modelName] = std::string("MacBookPro18,3") + '\0';
    machine.mac.smc.state.reportedFanCount = 2;
}

void applyToMachine(const Step& step, Machine& machine) {
    SimulatedSMC& smc = machine.mac.smc;
    switch (step.kind) {
        case Step::Kind::uptimeAdvance:
            smc.advance(step.first);
            break;
        case Step::Kind::wallClockJump:
            machine.mac.clock.advance(step.first);
            break;
        case Step::Kind::wallClockJumpDuringNextReading:
            machine.mac.clock.jumpAfterNextReading(step.first);
            break;
        case Step::Kind::wallClockNaN:
            machine.mac.clock.set(nan);
            break;
        case Step::Kind::thermalState:
            machine.thermalState = allSystemThermalStates()[static_cast<std::size_t>(step.option)];
            break;
        case Step::Kind::temperatures:
            smc.setTemperatures(static_cast<float>(step.first), static_cast<float>(step.second));
            break;
        case Step::Kind::unreadableGPU:
            for (const std::string_view key : SMCChipTemperatureSensor::chipSensorGPUKeys) {
                smc.state.temperatures[std::string(key)] = 0.5F;
            }
            break;
        case Step::Kind::smcFault:
            smc.addFault(faultRule(step));
            break;
        case Step::Kind::openFault:
            smc.failOpens(step.client == 0 ? SMCUserClient::Opening::Outcome::serviceMissing
                                           : SMCUserClient::Opening::Outcome::openFailed,
                          static_cast<std::size_t>(step.first) + 1);
            break;
        case Step::Kind::firmwareRevert:
            smc.revertForcedModeAfter(revertDelays[static_cast<std::size_t>(step.option)]);
            break;
        case Step::Kind::anotherControllerForces:
            smc.forceByAnotherController(step.client, step.client == 0 ? 2500.0 : 3500.0);
            break;
        case Step::Kind::anotherControllerReleases:
            smc.releaseFromAnotherController(step.client);
            break;
        case Step::Kind::journalFault:
            machine.journal->failNextChange(step.option);
            break;
        case Step::Kind::notSuperuser:
            machine.mac.credentials.effectiveUser = 501;
            break;
        case Step::Kind::unsupportedModel:
            machine.mac.values.values[SimulatedMac::modelName] =
                std::string("MacBookPro17,1") + '\0';
            break;
        case Step::Kind::threeFans:
            smc.state.reportedFanCount = 3;
            break;
        case Step::Kind::clearFaults:
            clearFaults(machine);
            break;
        default:
            break;
    }
}

// The fans as the controller reports them, in single precision.
std::vector<FanSpeed> fansOf(const SimulatedSMC& smc) {
    std::vector<FanSpeed> fans;
    for (std::size_t index = 0; index < smc.state.fans.size(); ++index) {
        const auto& fan = smc.state.fans[index];
        fans.push_back({.id = static_cast<std::int64_t>(index),
                        .actualRPM = static_cast<float>(fan.actualRPM),
                        .minimumRPM = static_cast<float>(fan.minimumRPM),
                        .maximumRPM = static_cast<float>(fan.maximumRPM),
                        .targetRPM = static_cast<float>(fan.targetRPM),
                        .manual = fan.forced});
    }
    return fans;
}

bool sameFans(const SimulatedSMC& left, const SimulatedSMC& right) {
    return std::ranges::equal(left.state.fans, right.state.fans, [](const auto& a, const auto& b) {
        return a.actualRPM == b.actualRPM && a.targetRPM == b.targetRPM && a.forced == b.forced &&
               a.forcedByAnotherController == b.forcedByAnotherController;
    });
}

bool sameMachineState(const SimulatedSMC& left, const SimulatedSMC& right) {
    return sameFans(left, right) && left.callCount() == right.callCount() &&
           left.openCount == right.openCount && left.closeCount == right.closeCount &&
           left.writeCount() == right.writeCount();
}

// What the sequences got the session to do, so that a generator that stopped reaching the
// interesting states would show.
struct Coverage {
    std::set<std::string> messages;
    std::size_t boostingStatuses = 0;
    std::size_t pendingRestorations = 0;

    void note(const FanBoostStatus& status) {
        if (status.error) {
            messages.insert(*status.error);
        }
        boostingStatuses += status.enabled && status.boosting ? 1 : 0;
        pendingRestorations += status.restorationPending ? 1 : 0;
    }
};

// --- one sequence: the session and the reference, each on its own machine ---

template <typename Journal>
class Sequence {
public:
    Sequence(std::uint64_t seed, Coverage& coverage)
        : coverage_(coverage),
          random_(seed),
          tested_(std::make_unique<Journal>()),
          reference_(std::make_unique<Journal>()) {
        startHelpers();
    }

    // Gives the first broken rule, or nothing.
    std::optional<std::string> run() {
        for (int index = 0; index < stepsPerSequence; ++index) {
            const Step step = randomStep(random_, thresholds_);
            steps_.push_back(step);
            forgetCalls();
            apply(step);
            if (std::optional<std::string> broken = check()) {
                return broken;
            }
        }
        return settleAfterFaults();
    }

    std::string history() const {
        std::string text;
        for (const Step& step : steps_) {
            text += "  " + describe(step) + "\n";
        }
        return text;
    }

private:
    void startHelpers() {
        session_ = std::make_unique<FanBoostSession>(
            tested_.mac.hardware, tested_.journal->journal(), tested_.thermalStateReading(),
            tested_.mac.clock.function());
        model_ = std::make_unique<ReferenceFanBoostSession>(
            reference_.mac.hardware, reference_.journal->journal(),
            reference_.thermalStateReading(), reference_.mac.clock.function());
    }

    // Each step's calls are checked after it; keeping only those keeps the logs short, so that
    // they are not copied over and over as they grow.
    void forgetCalls() {
        tested_.mac.smc.calls.clear();
        reference_.mac.smc.calls.clear();
    }

    void apply(const Step& step) {
        applyToMachine(step, tested_);
        applyToMachine(step, reference_);
        const UUID& client = clients[step.client];
        switch (step.kind) {
            case Step::Kind::begin: {
                const FanBoostConfiguration configuration{.cpuThresholdCelsius = step.first,
                                                          .gpuThresholdCelsius = step.second};
                if (configuration.isValid()) {
                    thresholds_ = configuration;
                }
                compareReplies(session_->begin(configuration, client, uptime_),
                               model_->begin(configuration, client, uptime_));
                break;
            }
            case Step::Kind::heartbeat:
                compareReplies(session_->heartbeat(client, uptime_),
                               model_->heartbeat(client, uptime_));
                break;
            case Step::Kind::stop:
                session_->stop(client);
                model_->stop(client);
                break;
            case Step::Kind::tick:
                session_->tick(uptime_);
                model_->tick(uptime_);
                break;
            case Step::Kind::uptimeAdvance:
                uptime_ = (std::isfinite(uptime_) ? uptime_ : finiteUptime_) + step.first;
                finiteUptime_ = uptime_;
                break;
            case Step::Kind::uptimeBackwards:
                uptime_ = finiteUptime_ - step.first;
                break;
            case Step::Kind::uptimeNaN:
                uptime_ = nan;
                break;
            case Step::Kind::restart:
                startHelpers();
                break;
            case Step::Kind::anotherControllerForces:
            case Step::Kind::anotherControllerReleases:
                changedBehindSession_ = true;
                break;
            default:
                break;
        }
    }

    void compareReplies(const FanBoostStatus& tested,
                        const ReferenceFanBoostSession::Published& expected) {
        coverage_.note(tested);
        if (!broken_ && !sameStatus(tested, expected)) {
            broken_ = "the reply differs from the reference's";
        }
    }

    static bool sameStatus(const FanBoostStatus& tested,
                           const ReferenceFanBoostSession::Published& expected) {
        return tested.enabled == expected.enabled && tested.boosting == expected.boosting &&
               tested.restorationPending == expected.restorationPending &&
               tested.fans == expected.fans && tested.error == expected.error;
    }

    std::optional<std::string> check() {
        if (broken_) {
            return broken_;
        }
        const FanBoostStatus& status = session_->status();
        coverage_.note(status);
        SimulatedSMC& smc = tested_.mac.smc;
        const bool flag = tested_.journal->journal().isPending();
        if (tested_.writesWithoutFlag > 0) {
            return "a write reached the fans while the recovery flag was clear";
        }
        for (const SimulatedSMC::Call& call : smc.calls) {
            const SMCKeyData& input = call.input;
            if (input.command == SMCKeyData::writeBytesCommand &&
                std::ranges::find(writableKeys, testing::keyText(input.key)) ==
                    writableKeys.end()) {
                return "a write reached " + testing::keyText(input.key);
            }
        }
        // Firmware that takes a fan back after it was read, or another controller, leaves the
        // status behind the fans until the next reading of the fans is published.
        const bool fansPublished = model_->takeFansPublished();
        if (smc.silentReverts != revertsSeen_ || changedBehindSession_) {
            revertsSeen_ = smc.silentReverts;
            changedBehindSession_ = false;
            fansAheadOfStatus_ = true;
        } else if (fansPublished) {
            fansAheadOfStatus_ = false;
        }
        for (const auto& fan : smc.state.fans) {
            if (fan.forced && !fan.forcedByAnotherController && !flag) {
                return "a fan is forced while the recovery flag is clear";
            }
            if (fan.forced && !fan.forcedByAnotherController && !status.boosting) {
                return "a fan is forced while the status says the fans are not boosting";
            }
            if (status.enabled && status.boosting && !fansAheadOfStatus_ &&
                !(fan.forced && std::fabs(fan.targetRPM - fan.maximumRPM) < 1.0)) {
                return "the status says boosting but a fan is not held at its maximum";
            }
        }
        if (status.restorationPending && !(flag && status.boosting && !status.enabled)) {
            return "a pending restoration is reported without its flag";
        }
        if (fansPublished && !fansAheadOfStatus_ && status.fans != fansOf(smc)) {
            return "the published fans are not the simulated fans";
        }
        if (!sameStatus(status, model_->published())) {
            return "the status differs from the reference's";
        }
        if (session_->needsTick() != model_->needsTick() ||
            flag != reference_.journal->journal().isPending()) {
            return "the tick need or the flag differs from the reference's";
        }
        if (!sameMachineState(smc, reference_.mac.smc)) {
            return "the fans or the calls differ from the reference's";
        }
        return std::nullopt;
    }

    // Once faults stop and no owner remains, a few ticks bring the fans back to automatic.
    std::optional<std::string> settleAfterFaults() {
        forgetCalls();
        for (Machine* machine : {&tested_, &reference_}) {
            clearFaults(*machine);
            machine->mac.smc.releaseFromAnotherController(0);
            machine->mac.smc.releaseFromAnotherController(1);
        }
        for (const UUID& client : clients) {
            session_->stop(client);
            model_->stop(client);
        }
        for (int tick = 0; tick < settlingTicks && session_->needsTick(); ++tick) {
            uptime_ = finiteUptime_ + 1.0 + tick;
            session_->tick(uptime_);
            model_->tick(uptime_);
        }
        if (std::optional<std::string> broken = check()) {
            return broken;
        }
        const SimulatedSMC& smc = tested_.mac.smc;
        if (smc.state.fans[0].forced || smc.state.fans[1].forced ||
            tested_.journal->journal().isPending() || session_->needsTick() ||
            session_->status().restorationPending || session_->status().enabled) {
            return "the fans were not back to automatic after the faults stopped";
        }
        return std::nullopt;
    }

    Coverage& coverage_;
    Random random_;
    Machine tested_;
    Machine reference_;
    std::unique_ptr<FanBoostSession> session_;
    std::unique_ptr<ReferenceFanBoostSession> model_;
    std::vector<Step> steps_;
    FanBoostConfiguration thresholds_{.cpuThresholdCelsius = 80.0, .gpuThresholdCelsius = 80.0};
    double uptime_ = 1000.0;
    double finiteUptime_ = 1000.0;
    std::size_t revertsSeen_ = 0;
    bool changedBehindSession_ = false;
    bool fansAheadOfStatus_ = false;
    std::optional<std::string> broken_;
};

std::optional<std::uint64_t> chosenSeed() {
    const char* text = std::getenv("TALLOWBECK_MODEL_SEED");
    if (text == nullptr) {
        return std::nullopt;
    }
    return std::strtoull(text, nullptr, 0);
}

template <typename Journal>
Coverage runSequences(int count) {
    Coverage coverage;
    const std::optional<std::uint64_t> chosen = chosenSeed();
    for (int index = 0; index < (chosen ? 1 : count); ++index) {
        const std::uint64_t seed = chosen.value_or(baseSeed + static_cast<std::uint64_t>(index));
        Sequence<Journal> sequence(seed, coverage);
        if (const std::optional<std::string> broken = sequence.run()) {
            ADD_FAILURE() << *broken << "\nseed " << seed
                          << " (replay with TALLOWBECK_MODEL_SEED=" << seed << "), steps:\n"
                          << sequence.history();
            break;
        }
    }
    return coverage;
}

TEST(FanBoostSessionModelTests, TenThousandSequencesWithAJournalInMemory) {
    const Coverage coverage = runSequences<MemoryJournal>(10'000);
    if (!chosenSeed()) {
        EXPECT_EQ(coverage.messages.size(), 8u);
        EXPECT_GT(coverage.boostingStatuses, 20'000u);
        EXPECT_GT(coverage.pendingRestorations, 10'000u);
    }
}

TEST(FanBoostSessionModelTests, SequencesWithTheRecoveryFileOnFailingFileCalls) {
    const Coverage coverage = runSequences<FileJournal>(100);
    if (!chosenSeed()) {
        EXPECT_GT(coverage.boostingStatuses, 100u);
        EXPECT_GT(coverage.pendingRestorations, 10u);
    }
}

}  // namespace
}  // namespace tallowbeck
