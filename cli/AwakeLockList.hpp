#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TallowbeckCore/platform/PowerManagement.hpp"

namespace tallowbeck::cli {

// `tallowbeck awake --list`: the keep-awake locks that every program holds on this machine now,
// the answer to "why will it not sleep?".
//
// Text: a table with the columns WHO, USER, PID, WHAT, WHY and MODE, one lock a row, and a line
// that counts them. JSON: one object, {"event":"locks","at":..., "locks":[...]}, each lock with
// "who", "user" (where the user ID has a name), "uid", "pid", "what", "why" and "mode".
class AwakeLockList {
public:
    using HeldLock = PowerManagement::HeldLock;

    // The name of the user `userID`, or the number as text where it has none.
    static std::string userName(std::uint32_t userID);

    static std::string text(const std::vector<HeldLock>& locks);
    // `at`: seconds since 1970.
    static std::string json(double at, const std::vector<HeldLock>& locks);
};

}  // namespace tallowbeck::cli
