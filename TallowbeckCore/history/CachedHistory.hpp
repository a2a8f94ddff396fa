#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "TallowbeckCore/history/IDKeySet.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

// The history as a store holds it between operations, shaped for the change it sees most: a sample
// added at the end while the oldest ones expire at the front. Trimming a history in time order
// costs what it removes, not what it keeps, and looking for an id costs the same at any size.
class CachedHistory {
public:
    explicit CachedHistory(std::vector<TemperatureSample> samples);

    std::span<const TemperatureSample> samples() const noexcept;

    // Drops every sample recorded before `cutoff`, keeping the order of the rest.
    void removeRecordedBefore(double cutoff);
    // Builds the index of ids the first time, which only writers need.
    bool containsID(const UUID& id);
    void append(const TemperatureSample& sample);

private:
    void forgetID(const TemperatureSample& removed) noexcept;
    void reclaimRemovedFront();

    // Holds removed samples before `first_` until reclaiming them pays off.
    std::vector<TemperatureSample> samples_;
    // The key of each kept sample's id.
    std::optional<IDKeySet> idKeys_;
    std::size_t first_ = 0;
    bool sortedByTime_;
};

}  // namespace tallowbeck
