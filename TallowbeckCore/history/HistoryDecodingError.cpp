#include "TallowbeckCore/history/HistoryDecodingError.hpp"

#include <string>
#include <utility>

using namespace std::string_literals;

namespace tallowbeck {

HistoryDecodingError::HistoryDecodingError(const DecodingError& cause)
    : DecodingError(cause, "snapshot: "s + cause.what()) {}

HistoryDecodingError::HistoryDecodingError(const DecodingError& cause, std::uint64_t lineNumber,
                                           std::string line)
    : DecodingError(cause, "journal line " + std::to_string(lineNumber) + ": " + cause.what()),
      lineNumber_(lineNumber),
      line_(std::move(line)) {}

}  // namespace tallowbeck
