#include "TallowbeckCore/history/CorruptJournalEntryError.hpp"

#include <string>

namespace tallowbeck {

CorruptJournalEntryError::CorruptJournalEntryError(std::uint64_t lineNumber)
    : std::runtime_error("journal line " + std::to_string(lineNumber) +
                         ": neither a sample entry nor a reset entry"),
      lineNumber_(lineNumber) {}

}  // namespace tallowbeck
