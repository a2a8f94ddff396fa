#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "TallowbeckCore/history/HistorySamples.hpp"
#include "TallowbeckCore/history/IDKeySet.hpp"
#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

// The history as a store holds it between operations, shaped for the change it sees most: a sample
// added at the end while the oldest ones expire at the front. Trimming a history in time order
// costs what it removes, not what it keeps, and looking for an id costs the same at any size.
//
// The samples live in a block shared with every HistorySamples handed out, and a sample in it is
// never changed once written: a new sample goes into the block's free room, beyond what any of
// them shows, and a trim only moves the start. When the block is full, or an eighth of it lies
// dead in front, or a sample must go from the middle, the kept samples move to a new block and
// the old one lives on for as long as someone still looks at it.
class CachedHistory {
public:
    explicit CachedHistory(std::vector<TemperatureSample> samples);
    // Two histories writing into one block would overwrite each other's samples.
    CachedHistory(const CachedHistory&) = delete;
    CachedHistory& operator=(const CachedHistory&) = delete;
    CachedHistory(CachedHistory&&) noexcept = default;
    CachedHistory& operator=(CachedHistory&&) noexcept = default;
    ~CachedHistory() = default;

    HistorySamples samples() const;

    // Drops every sample recorded before `cutoff`, keeping the order of the rest.
    void removeRecordedBefore(double cutoff);
    // Builds the index of ids the first time, which only writers need.
    bool containsID(const UUID& id);
    void append(const TemperatureSample& sample);

private:
    using Block = std::vector<TemperatureSample>;

    std::span<const TemperatureSample> live() const noexcept;
    void forgetID(const TemperatureSample& removed) noexcept;
    void reclaimRemovedFront();
    // Starts a new block holding a copy of `kept`, with room to grow.
    void moveToNewBlock(std::span<const TemperatureSample> kept);

    // Samples before `first_` were removed; they stay until reclaiming them pays off.
    std::shared_ptr<Block> block_;
    // The key of each kept sample's id.
    std::optional<IDKeySet> idKeys_;
    std::size_t first_ = 0;
    bool sortedByTime_;
};

}  // namespace tallowbeck
