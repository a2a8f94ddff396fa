#include "cli/AwakeLockList.hpp"

#include <fmt/core.h>
#include <pwd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck::cli {
namespace {

constexpr std::size_t columnCount = 6;
using Row = std::array<std::string, columnCount>;

constexpr std::string_view columnGap = "  ";
// Enough for the user database's entries; a longer one is treated as a user without a name.
constexpr std::size_t userEntryBufferSize = 4096;

std::optional<std::string> nameOfUser(std::uint32_t userID) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, userEntryBufferSize> buffer{};
    if (::getpwuid_r(userID, &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr) {
        return std::nullopt;
    }
    return std::string(entry.pw_name);
}

Row rowOf(const AwakeLockList::HeldLock& lock) {
    return {lock.who,
            AwakeLockList::userName(lock.userID),
            std::to_string(lock.processID),
            lock.what,
            lock.why,
            lock.mode};
}

// The rows as lines, each column as wide as its widest cell; the last column is not padded.
std::string table(const std::vector<Row>& rows) {
    std::array<std::size_t, columnCount> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < columnCount; ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t column = 0; column + 1 < columnCount; ++column) {
            text += fmt::format("{:<{}}{}", row[column], widths[column], columnGap);
        }
        text += row.back() + "\n";
    }
    return text;
}

}  // namespace

std::string AwakeLockList::userName(std::uint32_t userID) {
    return nameOfUser(userID).value_or(std::to_string(userID));
}

std::string AwakeLockList::text(const std::vector<HeldLock>& locks) {
    if (locks.empty()) {
        return "No keep-awake lock is held.\n";
    }
    std::vector<Row> rows{{"WHO", "USER", "PID", "WHAT", "WHY", "MODE"}};
    std::ranges::transform(locks, std::back_inserter(rows), rowOf);
    return table(rows) +
           fmt::format("{} {} held.\n", locks.size(), locks.size() == 1 ? "lock" : "locks");
}

std::string AwakeLockList::json(double at, const std::vector<HeldLock>& locks) {
    JSONWriter json;
    json.beginObject().key("event").value("locks").key("at").value(InternetDateTime::text(at));
    json.key("locks").beginArray();
    for (const HeldLock& lock : locks) {
        json.beginObject().key("who").value(lock.who);
        json.optionalMember("user", nameOfUser(lock.userID));
        json.key("uid")
            .value(static_cast<std::int64_t>(lock.userID))
            .key("pid")
            .value(static_cast<std::int64_t>(lock.processID))
            .key("what")
            .value(lock.what)
            .key("why")
            .value(lock.why)
            .key("mode")
            .value(lock.mode)
            .endObject();
    }
    json.endArray().endObject();
    return json.text();
}

}  // namespace tallowbeck::cli
