#include "tests/fakes/FakePowerManagement.hpp"

#include "TallowbeckCore/platform/IOReturn.hpp"

namespace tallowbeck::testing {
namespace {

template <typename Answer>
Answer takeFirst(std::deque<Answer>& prepared, Answer otherwise) {
    if (prepared.empty()) {
        return otherwise;
    }
    const Answer answer = prepared.front();
    prepared.pop_front();
    return answer;
}

}  // namespace

PowerManagement::AssertionCreation FakePowerManagement::createAssertion(std::string_view type,
                                                                        std::uint32_t level,
                                                                        std::string_view name) {
    note("create " + std::string(type) + " " + std::to_string(level) + " " + std::string(name));
    const auto status = takeFirst(creationStatuses, IOReturn::success);
    if (status != IOReturn::success) {
        return {.status = status, .assertionID = 0};
    }
    return {.status = status, .assertionID = nextAssertionID_++};
}

std::int32_t FakePowerManagement::releaseAssertion(std::uint32_t assertionID) {
    note("release " + std::to_string(assertionID));
    return takeFirst(releaseStatuses, IOReturn::success);
}

PowerManagement::RootDomainCall FakePowerManagement::setClamshellSleepDisabled(bool disabled) {
    note(disabled ? "clamshell true" : "clamshell false");
    return takeFirst(rootDomainCalls, RootDomainCall{});
}

}  // namespace tallowbeck::testing
