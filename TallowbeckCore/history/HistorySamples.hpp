#pragma once

#include <cstddef>
#include <memory>

#include "TallowbeckCore/history/TemperatureSample.hpp"

namespace tallowbeck {

// The samples of a history as one operation of the store saw them. Shares them with the store
// instead of copying them, and keeps them alive for as long as it exists, whatever the store
// does meanwhile (appends, trims, resets or goes away): the store never changes a sample that one
// of these can see, so another thread may read it while the store goes on. Immutable.
//
// A contiguous range, so it converts to std::span<const TemperatureSample>; such a span is a view
// and stays valid only while this object, or the store's unchanged history, holds the samples.
class HistorySamples {
public:
    HistorySamples() = default;
    // `count` samples from `first` on, kept alive by whatever `first` shares ownership with.
    HistorySamples(std::shared_ptr<const TemperatureSample> first, std::size_t count) noexcept
        : first_(std::move(first)), count_(count) {}

    const TemperatureSample* begin() const noexcept { return first_.get(); }
    const TemperatureSample* end() const noexcept { return first_.get() + count_; }
    const TemperatureSample* data() const noexcept { return first_.get(); }
    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }
    const TemperatureSample& operator[](std::size_t index) const noexcept {
        return first_.get()[index];
    }
    const TemperatureSample& front() const noexcept { return *begin(); }
    const TemperatureSample& back() const noexcept { return end()[-1]; }

private:
    std::shared_ptr<const TemperatureSample> first_;
    std::size_t count_ = 0;
};

}  // namespace tallowbeck
