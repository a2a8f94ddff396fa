#pragma once

#include <cstdint>
#include <deque>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TallowbeckCore/platform/PowerManagement.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"

namespace tallowbeck {

// Lets GoogleTest show a failed comparison as the error's message.
inline void PrintTo(const PowerControlError& error, std::ostream* stream) {
    *stream << error.what();
}

}  // namespace tallowbeck

namespace tallowbeck::testing {

// Power management that records every call in order and answers with statuses a test prepared.
// Prepared answers are used up one per call; once none is left, every call succeeds. Successful
// creations hand out the ids 1, 2, 3, ...
class FakePowerManagement final : public PowerManagement {
public:
    std::deque<std::int32_t> creationStatuses;
    std::deque<std::int32_t> releaseStatuses;
    std::deque<RootDomainCall> rootDomainCalls;
    // What failureDetail() and displayNotKeptOnReason() answer.
    std::string detail;
    std::string displayNotKeptOn;

    // "create <type> <level> <name>", "release <id>", "clamshell <true|false>", and whatever a
    // test's own collaborators note with `note`, so that one list shows the order of everything.
    std::vector<std::string> calls;

    void note(std::string call) { calls.push_back(std::move(call)); }

    AssertionCreation createAssertion(std::string_view type, std::uint32_t level,
                                      std::string_view name) override;
    std::int32_t releaseAssertion(std::uint32_t assertionID) override;
    RootDomainCall setClamshellSleepDisabled(bool disabled) override;
    std::string failureDetail() const override { return detail; }
    std::string displayNotKeptOnReason() const override { return displayNotKeptOn; }

private:
    std::uint32_t nextAssertionID_ = 1;
};

}  // namespace tallowbeck::testing
