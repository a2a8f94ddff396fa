#pragma once

namespace tallowbeck {

// Remembers, across restarts of the fan helper, that the fans may have been left forced and
// automatic control still has to be restored.
class FanBoostRecoveryJournal {
public:
    virtual ~FanBoostRecoveryJournal() = default;

    // Never fails: a flag that cannot be read counts as pending, since restoring automatic
    // control is always safe and forcing the fans without a record never is.
    virtual bool isPending() noexcept = 0;
    // Returns only once the new flag would survive a crash; throws std::system_error when it
    // could not be made so.
    virtual void setPending(bool pending) = 0;
};

}  // namespace tallowbeck
