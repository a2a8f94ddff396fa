#pragma once

#include <cstdio>
#include <string>

#include "cli/AwakeOutput.hpp"
#include "cli/SessionClock.hpp"

namespace tallowbeck::cli {

// A session's events on standard output, problems on standard error as "tallowbeck: ..." lines.
//
// Text: a line when the session starts and one when it ends, saying why; in between the
// remaining time and, under thermal pressure, the grace left, on one line that is rewritten in
// place on a terminal and written as a line of its own otherwise.
// JSON: one object per line and event, "event" naming it and "at" giving the time it was written
// in UTC ("2024-05-01T18:30:00Z", from the clock's wall time): "started" (with the session's
// JSON form under "session", and "displayNotKeptOn" with the reason when only the system is
// kept awake), "sample" (the sample's JSON form under "sample", and
// "remainingTime" for a session with an end), "grace" (with "thermalState" and
// "graceRemaining"), and "ended" (with "reason" and "exitStatus", and "signal",
// "commandStatus", "pid" or "thermalState" as the reason has one).
class AwakeConsole final : public AwakeOutput {
public:
    enum class Form { text, json };

    AwakeConsole(std::FILE* output, std::FILE* errors, Form form, bool outputIsTerminal,
                 SessionClock& clock);

    void started(const Session& session, std::string_view displayNotKeptOn) override;
    void updated(const AwakeUpdate& update) override;
    void ended(const AwakeEnding& ending) override;
    void problem(std::string_view message) override;

    // "1h 29m 5s", "2m 0s", "45s": whole seconds, rounded up so that a running session never
    // shows 0s.
    static std::string durationText(double seconds);

    static std::string startedText(const Session& session, std::string_view displayNotKeptOn = {});
    static std::string statusText(const AwakeUpdate& update);
    static std::string endedText(const AwakeEnding& ending);
    // `at`: seconds since 1970.
    static std::string startedJSON(double at, const Session& session,
                                   std::string_view displayNotKeptOn = {});
    static std::string sampleJSON(double at, const AwakeUpdate& update);
    static std::string graceJSON(double at, const AwakeUpdate& update);
    static std::string endedJSON(double at, const AwakeEnding& ending);

private:
    void line(const std::string& text);
    void clearStatusLine();

    std::FILE* output_;
    std::FILE* errors_;
    Form form_;
    bool outputIsTerminal_;
    SessionClock& clock_;
    bool statusLineShown_ = false;
};

}  // namespace tallowbeck::cli
