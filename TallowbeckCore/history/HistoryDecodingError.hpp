#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TallowbeckCore/support/DecodingError.hpp"

namespace tallowbeck {

// A history file that does not decode: the snapshot, or one line of the journal, which the error
// carries with its number.
class HistoryDecodingError : public DecodingError {
public:
    // For the snapshot.
    explicit HistoryDecodingError(const DecodingError& cause);
    // For the journal line numbered `lineNumber` (from 1) with the bytes `line`.
    HistoryDecodingError(const DecodingError& cause, std::uint64_t lineNumber, std::string line);

    // Nothing for the snapshot.
    std::optional<std::uint64_t> lineNumber() const noexcept { return lineNumber_; }
    const std::string& line() const noexcept { return line_; }

private:
    std::optional<std::uint64_t> lineNumber_;
    std::string line_;
};

}  // namespace tallowbeck
