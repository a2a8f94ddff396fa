#pragma once

#include <filesystem>

namespace tallowbeck {

// The three sibling files of one temperature history: the snapshot, the journal of changes since
// it ("<snapshot>.journal") and the lock file that processes take turns on ("<snapshot>.lock").
struct HistoryFiles {
    std::filesystem::path snapshot;
    std::filesystem::path journal;
    std::filesystem::path lock;

    static HistoryFiles beside(const std::filesystem::path& snapshot);
};

}  // namespace tallowbeck
