#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli/AwakeConsole.hpp"
#include "tests/fakes/VirtualSessionTime.hpp"

namespace tallowbeck {
namespace {

using cli::AwakeConsole;
using cli::AwakeEnding;
using cli::AwakeUpdate;

const UUID sampleID = *UUID::fromText("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
// When the events below are written: 2023-11-14T22:13:20Z.
constexpr double at = testing::VirtualSessionTime::startWallTime;

AwakeUpdate updateWith(SystemThermalState state, std::optional<double> remaining,
                       std::optional<double> grace) {
    return {.sample = TemperatureSample(sampleID, 1'700'000'000.0, 30.5, 48.0, std::nullopt, state,
                                        true, false),
            .remainingTime = remaining,
            .graceRemaining = grace};
}

// What a console wrote to its two streams.
class CapturedConsole {
public:
    CapturedConsole(AwakeConsole::Form form, bool terminal)
        : output_(::open_memstream(&outputText_, &outputSize_)),
          errors_(::open_memstream(&errorText_, &errorSize_)),
          console(output_, errors_, form, terminal, clock) {}
    ~CapturedConsole() {
        std::fclose(output_);
        std::fclose(errors_);
        std::free(outputText_);
        std::free(errorText_);
    }
    CapturedConsole(const CapturedConsole&) = delete;
    CapturedConsole& operator=(const CapturedConsole&) = delete;

    std::string output() {
        std::fflush(output_);
        return {outputText_, outputSize_};
    }
    std::string errors() {
        std::fflush(errors_);
        return {errorText_, errorSize_};
    }

private:
    char* outputText_ = nullptr;
    std::size_t outputSize_ = 0;
    char* errorText_ = nullptr;
    std::size_t errorSize_ = 0;
    std::FILE* output_;
    std::FILE* errors_;

public:
    testing::VirtualSessionTime clock;
    AwakeConsole console;
};

TEST(AwakeConsoleTests, DurationsAreWholeSecondsRoundedUp) {
    EXPECT_EQ(AwakeConsole::durationText(5400.0), "1h 30m 0s");
    EXPECT_EQ(AwakeConsole::durationText(3725.0), "1h 2m 5s");
    EXPECT_EQ(AwakeConsole::durationText(120.0), "2m 0s");
    EXPECT_EQ(AwakeConsole::durationText(44.01), "45s");
    EXPECT_EQ(AwakeConsole::durationText(0.2), "1s");
    EXPECT_EQ(AwakeConsole::durationText(0.0), "0s");
    EXPECT_EQ(AwakeConsole::durationText(-3.0), "0s");
}

TEST(AwakeConsoleTests, TheStartLineTellsHowLongAndWhichModes) {
    EXPECT_EQ(
        AwakeConsole::startedText(Session(100.0, Session::Duration::until(190.0), false, false)),
        "Keeping this machine awake for 1m 30s.");
    EXPECT_EQ(
        AwakeConsole::startedText(Session(100.0, Session::Duration::indefinitely(), true, true)),
        "Keeping this machine awake until stopped. Closed-lid mode is on. The display may "
        "sleep.");
}

TEST(AwakeConsoleTests, WithoutADisplayTheStartLineSaysOnlyTheSystemIsKeptAwakeAndWhy) {
    EXPECT_EQ(
        AwakeConsole::startedText(Session(100.0, Session::Duration::until(190.0), true, false),
                                  "neither WAYLAND_DISPLAY nor DISPLAY is set"),
        "Keeping this machine awake for 1m 30s. Closed-lid mode is on. Only the system is "
        "kept awake, not the display: there is no graphical session (neither "
        "WAYLAND_DISPLAY nor DISPLAY is set).");
}

TEST(AwakeConsoleTests, TheStatusLineShowsTheTimeLeftAndTheGraceUnderPressure) {
    EXPECT_EQ(AwakeConsole::statusText(updateWith(SystemThermalState::nominal, 65.0, std::nullopt)),
              "Awake, 1m 5s left");
    EXPECT_EQ(AwakeConsole::statusText(updateWith(SystemThermalState::serious, std::nullopt, 25.0)),
              "Awake until stopped — thermal pressure (Serious), 25s of grace left");
}

TEST(AwakeConsoleTests, TheEndLineSaysWhyTheSessionEnded) {
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::expired()), "Session ended: its time is up.");
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::stopSignal(SIGINT)),
              "Session ended: stopped by SIGINT.");
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::stopSignal(SIGHUP)),
              "Session ended: stopped by SIGHUP.");
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::commandExited(7)),
              "Session ended: the command exited with status 7.");
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::processExited(4242)),
              "Session ended: process 4242 exited.");
    EXPECT_EQ(AwakeConsole::endedText(AwakeEnding::thermalPressure(SystemThermalState::critical)),
              "Session ended: the machine is under thermal pressure (Critical).");
}

TEST(AwakeConsoleTests, JSONEventsCarryTheLibrarysForms) {
    const Session session(978307300.0, Session::Duration::until(978307400.0), true, false);
    EXPECT_EQ(
        AwakeConsole::startedJSON(at, session),
        R"({"event":"started","at":"2023-11-14T22:13:20Z","session":{"startedAt":100,"endsAt":200,)"
        R"("closedLidEnabled":true,"allowsDisplaySleep":false}})");
    EXPECT_EQ(
        AwakeConsole::startedJSON(at, session, "no session bus"),
        R"({"event":"started","at":"2023-11-14T22:13:20Z","session":{"startedAt":100,"endsAt":200,)"
        R"("closedLidEnabled":true,"allowsDisplaySleep":false},)"
        R"("displayNotKeptOn":"no session bus"})");
    EXPECT_EQ(
        AwakeConsole::sampleJSON(at, updateWith(SystemThermalState::fair, 12.5, std::nullopt)),
        R"({"event":"sample","at":"2023-11-14T22:13:20Z","sample":{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)"
        R"("recordedAt":"2023-11-14T22:13:20Z","batteryCelsius":30.5,"cpuCelsius":48,)"
        R"("thermalState":"fair","sessionActive":true,"lidClosed":false},)"
        R"("remainingTime":12.5})");
    EXPECT_EQ(
        AwakeConsole::graceJSON(at, updateWith(SystemThermalState::serious, std::nullopt, 7.5)),
        R"({"event":"grace","at":"2023-11-14T22:13:20Z","thermalState":"serious","graceRemaining":7.5})");
}

TEST(AwakeConsoleTests, JSONEndsNameTheReasonAndTheStatus) {
    EXPECT_EQ(AwakeConsole::endedJSON(at, AwakeEnding::expired()),
              R"({"event":"ended","at":"2023-11-14T22:13:20Z","reason":"expired","exitStatus":0})");
    EXPECT_EQ(
        AwakeConsole::endedJSON(at, AwakeEnding::stopSignal(SIGTERM)),
        R"({"event":"ended","at":"2023-11-14T22:13:20Z","reason":"signal","exitStatus":0,"signal":"SIGTERM"})");
    EXPECT_EQ(
        AwakeConsole::endedJSON(at, AwakeEnding::commandExited(130)),
        R"({"event":"ended","at":"2023-11-14T22:13:20Z","reason":"commandExited","exitStatus":130,"commandStatus":130})");
    EXPECT_EQ(
        AwakeConsole::endedJSON(at, AwakeEnding::processExited(77)),
        R"({"event":"ended","at":"2023-11-14T22:13:20Z","reason":"processExited","exitStatus":0,"pid":77})");
    EXPECT_EQ(
        AwakeConsole::endedJSON(at, AwakeEnding::thermalPressure(SystemThermalState::serious)),
        R"({"event":"ended","at":"2023-11-14T22:13:20Z","reason":"thermalPressure","exitStatus":3,)"
        R"("thermalState":"serious"})");
}

TEST(AwakeConsoleTests, EveryJSONEventCarriesTheTimeItWasWritten) {
    CapturedConsole captured(AwakeConsole::Form::json, false);
    captured.console.started(Session(0.0, Session::Duration::until(10.0), false, false), {});
    captured.clock.wall += 5.0;
    captured.console.updated(updateWith(SystemThermalState::serious, 5.0, 25.0));
    captured.clock.wall += 5.0;
    captured.console.ended(AwakeEnding::expired());

    const std::string output = captured.output();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 4);
    EXPECT_NE(output.find(R"({"event":"started","at":"2023-11-14T22:13:20Z",)"), std::string::npos);
    EXPECT_NE(output.find(R"({"event":"sample","at":"2023-11-14T22:13:25Z",)"), std::string::npos);
    EXPECT_NE(output.find(R"({"event":"grace","at":"2023-11-14T22:13:25Z",)"), std::string::npos);
    EXPECT_NE(output.find(R"({"event":"ended","at":"2023-11-14T22:13:30Z",)"), std::string::npos);
}

TEST(AwakeConsoleTests, OnATerminalTheStatusLineIsRewrittenInPlace) {
    CapturedConsole captured(AwakeConsole::Form::text, true);
    captured.console.updated(updateWith(SystemThermalState::nominal, 10.0, std::nullopt));
    captured.console.updated(updateWith(SystemThermalState::nominal, 5.0, std::nullopt));
    captured.console.problem("the history is full");
    captured.console.ended(AwakeEnding::expired());

    EXPECT_EQ(captured.output(),
              "\r\x1b[KAwake, 10s left\r\x1b[KAwake, 5s left\r\x1b[K"
              "Session ended: its time is up.\n");
    EXPECT_EQ(captured.errors(), "tallowbeck: the history is full\n");
}

TEST(AwakeConsoleTests, ElsewhereEveryStatusIsALineOfItsOwn) {
    CapturedConsole captured(AwakeConsole::Form::text, false);
    captured.console.started(Session(0.0, Session::Duration::until(10.0), false, false), {});
    captured.console.updated(updateWith(SystemThermalState::nominal, 10.0, std::nullopt));
    captured.console.ended(AwakeEnding::expired());

    EXPECT_EQ(captured.output(),
              "Keeping this machine awake for 10s.\nAwake, 10s left\n"
              "Session ended: its time is up.\n");
}

TEST(AwakeConsoleTests, InJSONAnUpdateUnderPressureIsASampleAndAGraceLine) {
    CapturedConsole captured(AwakeConsole::Form::json, true);
    captured.console.updated(updateWith(SystemThermalState::serious, std::nullopt, 30.0));
    captured.console.updated(updateWith(SystemThermalState::nominal, std::nullopt, std::nullopt));

    const std::string output = captured.output();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 3);
    EXPECT_NE(
        output.find(
            R"({"event":"grace","at":"2023-11-14T22:13:20Z","thermalState":"serious","graceRemaining":30})"),
        std::string::npos);
    EXPECT_EQ(output.find('\r'), std::string::npos);
}

}  // namespace
}  // namespace tallowbeck
