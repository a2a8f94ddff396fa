#include "TallowbeckCore/history/CachedHistory.hpp"

#include <algorithm>
#include <utility>

namespace tallowbeck {

namespace {

bool isEarlier(const TemperatureSample& first, const TemperatureSample& second) noexcept {
    return first.recordedAt() < second.recordedAt();
}

// Geometric growth, but by an eighth rather than double, so that little memory lies unused.
void makeRoomForOne(std::vector<TemperatureSample>& elements) {
    if (elements.size() == elements.capacity()) {
        constexpr std::size_t minimumGrowth = 64;
        elements.reserve(elements.size() + std::max(elements.size() / 8, minimumGrowth));
    }
}

}  // namespace

CachedHistory::CachedHistory(std::vector<TemperatureSample> samples)
    : samples_(std::move(samples)), sortedByTime_(std::ranges::is_sorted(samples_, isEarlier)) {
    samples_.shrink_to_fit();
}

std::span<const TemperatureSample> CachedHistory::samples() const noexcept {
    return std::span(samples_).subspan(first_);
}

void CachedHistory::removeRecordedBefore(double cutoff) {
    const auto isBeforeCutoff = [cutoff](const TemperatureSample& sample) {
        return sample.recordedAt() < cutoff;
    };
    if (sortedByTime_) {
        const auto live = samples_.begin() + static_cast<std::ptrdiff_t>(first_);
        const auto kept = std::partition_point(live, samples_.end(), isBeforeCutoff);
        std::for_each(live, kept, [this](const TemperatureSample& removed) { forgetID(removed); });
        first_ += static_cast<std::size_t>(kept - live);
        reclaimRemovedFront();
        return;
    }
    std::size_t kept = first_;
    for (std::size_t index = first_; index < samples_.size(); ++index) {
        if (isBeforeCutoff(samples_[index])) {
            forgetID(samples_[index]);
        } else {
            samples_[kept++] = samples_[index];
        }
    }
    samples_.erase(samples_.begin() + static_cast<std::ptrdiff_t>(kept), samples_.end());
}

bool CachedHistory::containsID(const UUID& id) {
    if (!idKeys_) {
        idKeys_.emplace();
        idKeys_->reserve(samples().size());
        for (const TemperatureSample& sample : samples()) {
            idKeys_->insert(IDKeySet::keyOf(sample.id()));
        }
    }
    // The search through the samples that settles it is rare.
    if (!idKeys_->contains(IDKeySet::keyOf(id))) {
        return false;
    }
    const std::span<const TemperatureSample> kept = samples();
    return std::ranges::any_of(
        kept, [&id](const TemperatureSample& sample) { return sample.id() == id; });
}

void CachedHistory::append(const TemperatureSample& sample) {
    if (!samples_.empty() && !(samples_.back().recordedAt() <= sample.recordedAt())) {
        sortedByTime_ = false;
    }
    makeRoomForOne(samples_);
    samples_.push_back(sample);
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
    // Moving the live samples down costs their number; waiting until an eighth of the vector is
    // dead spreads that over at least as many removals.
    if (first_ == 0 || first_ * 8 < samples_.size()) {
        return;
    }
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(first_));
    first_ = 0;
}

}  // namespace tallowbeck
