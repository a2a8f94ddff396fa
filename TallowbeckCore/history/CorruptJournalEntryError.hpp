#pragma once

#include <cstdint>
#include <stdexcept>

namespace tallowbeck {

// A journal line that decodes but is neither a sample entry (a sample and a cutoff) nor a reset
// entry (reset true, nothing else): the journal as a whole is corrupt.
class CorruptJournalEntryError : public std::runtime_error {
public:
    explicit CorruptJournalEntryError(std::uint64_t lineNumber);

    // From 1.
    std::uint64_t lineNumber() const noexcept { return lineNumber_; }

private:
    std::uint64_t lineNumber_;
};

}  // namespace tallowbeck
