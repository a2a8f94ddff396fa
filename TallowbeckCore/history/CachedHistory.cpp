#include "TallowbeckCore/history/CachedHistory.hpp"

#include <algorithm>
#include <utility>

namespace tallowbeck {

namespace {

bool isEarlier(const TemperatureSample& first, const TemperatureSample& second) noexcept {
    return first.recordedAt() < second.recordedAt();
}

// An empty block with room for `count` samples and then some: geometric growth, but by an eighth
// rather than double, so that little memory lies unused.
std::shared_ptr<std::vector<TemperatureSample>> blockWithRoomFor(std::size_t count) {
    constexpr std::size_t minimumGrowth = 64;
    auto block = std::make_shared<std::vector<TemperatureSample>>();
    block->reserve(count + std::max(count / 8, minimumGrowth));
    return block;
}

}  // namespace

CachedHistory::CachedHistory(std::vector<TemperatureSample> samples)
    : block_(std::make_shared<Block>(std::move(samples))),
      sortedByTime_(std::ranges::is_sorted(*block_, isEarlier)) {
    block_->shrink_to_fit();
}

HistorySamples CachedHistory::samples() const {
    const std::span<const TemperatureSample> kept = live();
    // Shares the block's ownership while pointing at its first kept sample.
    return HistorySamples(std::shared_ptr<const TemperatureSample>(block_, kept.data()),
                          kept.size());
}

std::span<const TemperatureSample> CachedHistory::live() const noexcept {
    return std::span<const TemperatureSample>(*block_).subspan(first_);
}

void CachedHistory::removeRecordedBefore(double cutoff) {
    const auto isBeforeCutoff = [cutoff](const TemperatureSample& sample) {
        return sample.recordedAt() < cutoff;
    };
    const std::span<const TemperatureSample> kept = live();
    if (sortedByTime_) {
        const auto firstKept = std::ranges::partition_point(kept, isBeforeCutoff);
        std::for_each(kept.begin(), firstKept,
                      [this](const TemperatureSample& removed) { forgetID(removed); });
        first_ += static_cast<std::size_t>(firstKept - kept.begin());
        reclaimRemovedFront();
        return;
    }
    if (std::ranges::none_of(kept, isBeforeCutoff)) {
        return;
    }
    std::shared_ptr<Block> remaining = blockWithRoomFor(kept.size());
    for (const TemperatureSample& sample : kept) {
        if (isBeforeCutoff(sample)) {
            forgetID(sample);
        } else {
            remaining->push_back(sample);
        }
    }
    block_ = std::move(remaining);
    first_ = 0;
}

bool CachedHistory::containsID(const UUID& id) {
    const std::span<const TemperatureSample> kept = live();
    if (!idKeys_) {
        idKeys_.emplace();
        idKeys_->reserve(kept.size());
        for (const TemperatureSample& sample : kept) {
            idKeys_->insert(IDKeySet::keyOf(sample.id()));
        }
    }
    // The search through the samples that settles it is rare.
    if (!idKeys_->contains(IDKeySet::keyOf(id))) {
        return false;
    }
    return std::ranges::any_of(
        kept, [&id](const TemperatureSample& sample) { return sample.id() == id; });
}

void CachedHistory::append(const TemperatureSample& sample) {
    if (!block_->empty() && !(block_->back().recordedAt() <= sample.recordedAt())) {
        sortedByTime_ = false;
    }
    if (block_->size() == block_->capacity()) {
        moveToNewBlock(live());
    }
    // Within the block's capacity: no sample moves, so none that is shared changes.
    block_->push_back(sample);
    if (idKeys_) {
        idKeys_->insert(IDKeySet::keyOf(sample.id()));
    }
}

void CachedHistory::forgetID(const TemperatureSample& removed) noexcept {
    if (idKeys_) {
        idKeys_->erase(IDKeySet::keyOf(removed.id()));
    }
}

void CachedHistory::reclaimRemovedFront() {
    // Copying the live samples costs their number; waiting until an eighth of the block is dead
    // spreads that over at least as many removals.
    if (first_ == 0 || first_ * 8 < block_->size()) {
        return;
    }
    moveToNewBlock(live());
}

void CachedHistory::moveToNewBlock(std::span<const TemperatureSample> kept) {
    std::shared_ptr<Block> block = blockWithRoomFor(kept.size());
    block->assign(kept.begin(), kept.end());
    block_ = std::move(block);
    first_ = 0;
}

}  // namespace tallowbeck
