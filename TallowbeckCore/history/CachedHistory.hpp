#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

// The history as a store holds it between operations, shaped for the change it sees most: a sample
// added at the end while the oldest ones expire at the front. Trimming a history in time order
// costs what it removes, not what it keeps.
class CachedHistory {
public:
    explicit CachedHistory(std::vector<TemperatureSample> samples);

    std::span<const TemperatureSample> samples() const noexcept;

    // Drops every sample recorded before `cutoff`, keeping the order of the rest.
    void removeRecordedBefore(double cutoff);
    bool containsID(const UUID& id) const noexcept;
    void append(const TemperatureSample& sample);

private:
    static std::uint64_t keyOf(const UUID& id) noexcept;
    void reclaimRemovedFront();

    // Both hold removed samples before `first_` until reclaiming them pays off.
    std::vector<TemperatureSample> samples_;
    // Half of each sample's id, side by side so that a search reads an eighth of the memory.
    std::vector<std::uint64_t> idKeys_;
    std::size_t first_ = 0;
    bool sortedByTime_;
};

}  // namespace tallowbeck
