#include "TallowbeckCore/history/CachedHistory.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tallowbeck {

namespace {

bool isEarlier(const TemperatureSample& first, const TemperatureSample& second) noexcept {
    return first.recordedAt() < second.recordedAt();
}

// Geometric growth, but by an eighth rather than double, so that little memory lies unused.
template <typename Element>
void makeRoomForOne(std::vector<Element>& elements) {
    if (elements.size() == elements.capacity()) {
        constexpr std::size_t minimumGrowth = 64;
        elements.reserve(elements.size() + std::max(elements.size() / 8, minimumGrowth));
    }
}

}  // namespace

CachedHistory::CachedHistory(std::vector<TemperatureSample> samples)
    : samples_(std::move(samples)), sortedByTime_(std::ranges::is_sorted(samples_, isEarlier)) {
    samples_.shrink_to_fit();
    idKeys_.reserve(samples_.size());
    for (const TemperatureSample& sample : samples_) {
        idKeys_.push_back(keyOf(sample.id()));
    }
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
        first_ += static_cast<std::size_t>(
            std::partition_point(live, samples_.end(), isBeforeCutoff) - live);
        reclaimRemovedFront();
        return;
    }
    std::size_t kept = first_;
    for (std::size_t index = first_; index < samples_.size(); ++index) {
        if (!isBeforeCutoff(samples_[index])) {
            samples_[kept] = samples_[index];
            idKeys_[kept] = idKeys_[index];
            ++kept;
        }
    }
    samples_.erase(samples_.begin() + static_cast<std::ptrdiff_t>(kept), samples_.end());
    idKeys_.resize(kept);
}

bool CachedHistory::containsID(const UUID& id) const noexcept {
    const std::uint64_t key = keyOf(id);
    for (std::size_t index = first_; index < idKeys_.size(); ++index) {
        if (idKeys_[index] == key && samples_[index].id() == id) {
            return true;
        }
    }
    return false;
}

void CachedHistory::append(const TemperatureSample& sample) {
    if (!samples_.empty() && !(samples_.back().recordedAt() <= sample.recordedAt())) {
        sortedByTime_ = false;
    }
    makeRoomForOne(samples_);
    makeRoomForOne(idKeys_);
    samples_.push_back(sample);
    idKeys_.push_back(keyOf(sample.id()));
}

std::uint64_t CachedHistory::keyOf(const UUID& id) noexcept {
    std::uint64_t key = 0;
    std::memcpy(&key, id.bytes().data(), sizeof key);
    return key;
}

void CachedHistory::reclaimRemovedFront() {
    // Moving the live samples down costs their number; waiting until an eighth of the vector is
    // dead spreads that over at least as many removals.
    if (first_ == 0 || first_ * 8 < samples_.size()) {
        return;
    }
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(first_));
    idKeys_.erase(idKeys_.begin(), idKeys_.begin() + static_cast<std::ptrdiff_t>(first_));
    first_ = 0;
}

}  // namespace tallowbeck
