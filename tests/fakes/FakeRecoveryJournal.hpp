#pragma once

#include <cerrno>
#include <cstddef>
#include <system_error>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostRecoveryJournal.hpp"

namespace tallowbeck::testing {

// A recovery flag held in memory whose changes can be made to fail, as a journal that cannot
// make them durable does: a failed change leaves the flag as it was.
class FakeRecoveryJournal final : public FanBoostRecoveryJournal {
public:
    bool pending = false;
    std::size_t failingChanges = 0;  // the next changes that fail
    bool everyChangeFails = false;
    std::vector<bool> changes;  // every change asked for, failed ones included

    bool isPending() noexcept override { return pending; }

    void setPending(bool value) override {
        changes.push_back(value);
        if (everyChangeFails || failingChanges > 0) {
            failingChanges -= failingChanges > 0 ? 1 : 0;
            throw std::system_error(EIO, std::generic_category(), "cannot record fan recovery");
        }
        pending = value;
    }
};

}  // namespace tallowbeck::testing
