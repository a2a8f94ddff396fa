#include "cli/AwakeConsole.hpp"

#include <fmt/core.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <string_view>
#include <utility>

#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck::cli {
namespace {

using Reason = AwakeEnding::Reason;

constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 60 * secondsPerMinute;
// Back to the start of the line, and everything from there to its end erased.
constexpr std::string_view eraseLine = "\r\x1b[K";

constexpr std::array<std::pair<int, std::string_view>, 3> stopSignalNames{
    {{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}}};

std::string signalName(int signal) {
    for (const auto& [number, name] : stopSignalNames) {
        if (number == signal) {
            return std::string(name);
        }
    }
    return fmt::format("signal {}", signal);
}

std::string_view reasonText(Reason reason) noexcept {
    switch (reason) {
        case Reason::expired:
            return "expired";
        case Reason::stopSignal:
            return "signal";
        case Reason::commandExited:
            return "commandExited";
        case Reason::processExited:
            return "processExited";
        case Reason::thermalPressure:
            return "thermalPressure";
    }
    return "";
}

// Opens an event's object with its name and time.
JSONWriter& beginEvent(JSONWriter& json, std::string_view event, double at) {
    return json.beginObject().key("event").value(event).key("at").value(InternetDateTime::text(at));
}

}  // namespace

AwakeConsole::AwakeConsole(std::FILE* output, std::FILE* errors, Form form, bool outputIsTerminal,
                           SessionClock& clock)
    : output_(output),
      errors_(errors),
      form_(form),
      outputIsTerminal_(outputIsTerminal),
      clock_(clock) {}

void AwakeConsole::started(const Session& session, std::string_view displayNotKeptOn) {
    line(form_ == Form::json ? startedJSON(clock_.wallTime(), session, displayNotKeptOn)
                             : startedText(session, displayNotKeptOn));
}

void AwakeConsole::updated(const AwakeUpdate& update) {
    if (form_ == Form::json) {
        const double at = clock_.wallTime();
        line(sampleJSON(at, update));
        if (update.graceRemaining) {
            line(graceJSON(at, update));
        }
    } else if (outputIsTerminal_) {
        fmt::print(output_, "{}{}", eraseLine, statusText(update));
        std::fflush(output_);
        statusLineShown_ = true;
    } else {
        line(statusText(update));
    }
}

void AwakeConsole::ended(const AwakeEnding& ending) {
    line(form_ == Form::json ? endedJSON(clock_.wallTime(), ending) : endedText(ending));
}

void AwakeConsole::problem(std::string_view message) {
    clearStatusLine();
    fmt::print(errors_, "tallowbeck: {}\n", message);
    std::fflush(errors_);
}

void AwakeConsole::line(const std::string& text) {
    clearStatusLine();
    fmt::print(output_, "{}\n", text);
    std::fflush(output_);
}

void AwakeConsole::clearStatusLine() {
    if (statusLineShown_) {
        fmt::print(output_, "{}", eraseLine);
        std::fflush(output_);
        statusLineShown_ = false;
    }
}

std::string AwakeConsole::durationText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(std::max(seconds, 0.0)));
    const std::int64_t hours = whole / secondsPerHour;
    const std::int64_t minutes = whole % secondsPerHour / secondsPerMinute;
    const std::int64_t rest = whole % secondsPerMinute;
    if (hours > 0) {
        return fmt::format("{}h {}m {}s", hours, minutes, rest);
    }
    if (minutes > 0) {
        return fmt::format("{}m {}s", minutes, rest);
    }
    return fmt::format("{}s", rest);
}

std::string AwakeConsole::startedText(const Session& session, std::string_view displayNotKeptOn) {
    std::string text = "Keeping this machine awake ";
    if (const std::optional<double> remaining = session.remainingTime(session.startedAt())) {
        text += "for " + durationText(*remaining) + ".";
    } else {
        text += "until stopped.";
    }
    if (session.closedLidEnabled()) {
        text += " Closed-lid mode is on.";
    }
    if (session.allowsDisplaySleep()) {
        text += " The display may sleep.";
    }
    if (!displayNotKeptOn.empty()) {
        text += fmt::format(
            " Only the system is kept awake, not the display: there is no graphical session ({}).",
            displayNotKeptOn);
    }
    return text;
}

std::string AwakeConsole::statusText(const AwakeUpdate& update) {
    std::string text = update.remainingTime
                           ? "Awake, " + durationText(*update.remainingTime) + " left"
                           : std::string("Awake until stopped");
    if (update.graceRemaining) {
        text += fmt::format(" — thermal pressure ({}), {} of grace left",
                            displayName(update.sample.thermalState()),
                            durationText(*update.graceRemaining));
    }
    return text;
}

std::string AwakeConsole::endedText(const AwakeEnding& ending) {
    switch (ending.reason) {
        case Reason::expired:
            return "Session ended: its time is up.";
        case Reason::stopSignal:
            return fmt::format("Session ended: stopped by {}.", signalName(ending.detail));
        case Reason::commandExited:
            return fmt::format("Session ended: the command exited with status {}.", ending.detail);
        case Reason::processExited:
            return fmt::format("Session ended: process {} exited.", ending.detail);
        case Reason::thermalPressure:
            return fmt::format("Session ended: the machine is under thermal pressure ({}).",
                               displayName(ending.thermalState));
    }
    return {};
}

std::string AwakeConsole::startedJSON(double at, const Session& session,
                                      std::string_view displayNotKeptOn) {
    JSONWriter json;
    beginEvent(json, "started", at).key("session");
    session.writeJSON(json);
    if (!displayNotKeptOn.empty()) {
        json.key("displayNotKeptOn").value(displayNotKeptOn);
    }
    json.endObject();
    return json.text();
}

std::string AwakeConsole::sampleJSON(double at, const AwakeUpdate& update) {
    JSONWriter json;
    beginEvent(json, "sample", at).key("sample");
    update.sample.writeJSON(json);
    json.optionalMember("remainingTime", update.remainingTime).endObject();
    return json.text();
}

std::string AwakeConsole::graceJSON(double at, const AwakeUpdate& update) {
    JSONWriter json;
    beginEvent(json, "grace", at)
        .key("thermalState")
        .value(textValue(update.sample.thermalState()))
        .optionalMember("graceRemaining", update.graceRemaining)
        .endObject();
    return json.text();
}

std::string AwakeConsole::endedJSON(double at, const AwakeEnding& ending) {
    JSONWriter json;
    beginEvent(json, "ended", at).key("reason").value(reasonText(ending.reason));
    json.key("exitStatus").value(static_cast<std::int64_t>(ending.exitStatus()));
    switch (ending.reason) {
        case Reason::stopSignal:
            json.key("signal").value(signalName(ending.detail));
            break;
        case Reason::commandExited:
            json.key("commandStatus").value(static_cast<std::int64_t>(ending.detail));
            break;
        case Reason::processExited:
            json.key("pid").value(static_cast<std::int64_t>(ending.detail));
            break;
        case Reason::thermalPressure:
            json.key("thermalState").value(textValue(ending.thermalState));
            break;
        case Reason::expired:
            break;
    }
    json.endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
