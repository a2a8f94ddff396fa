#include "TallowbeckCore/history/HistoryFiles.hpp"

namespace tallowbeck {

HistoryFiles HistoryFiles::beside(const std::filesystem::path& snapshot) {
    std::filesystem::path journal = snapshot;
    std::filesystem::path lock = snapshot;
    return HistoryFiles{
        .snapshot = snapshot, .journal = journal += ".journal", .lock = lock += ".lock"};
}

}  // namespace tallowbeck
