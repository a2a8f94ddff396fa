#include "TallowbeckCore/history/IDKeySet.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace tallowbeck {

namespace {

constexpr std::uint64_t emptySlot = 0;

// Linear probing stays short up to three quarters full.
constexpr bool isCrowded(std::size_t keys, std::size_t slots) { return keys * 4 > slots * 3; }

}  // namespace

std::uint64_t IDKeySet::keyOf(const UUID& id) noexcept {
    std::uint64_t key = 0;
    std::memcpy(&key, id.bytes().data(), sizeof key);
    return key;
}

void IDKeySet::insert(std::uint64_t key) {
    if (key == emptySlot) {
        ++zeroKeys_;
    } else {
        reserve(takenSlots_ + 1);
        const std::size_t slot = find(key);
        if (slots_[slot] == key) {
            ++extraCopies_[key];
        } else {
            slots_[slot] = key;
            ++takenSlots_;
        }
    }
    ++size_;
}

void IDKeySet::erase(std::uint64_t key) noexcept {
    if (key == emptySlot) {
        if (zeroKeys_ > 0) {
            --zeroKeys_;
            --size_;
        }
        return;
    }
    if (const auto extra = extraCopies_.find(key); extra != extraCopies_.end()) {
        if (--extra->second == 0) {
            extraCopies_.erase(extra);
        }
        --size_;
        return;
    }
    if (slots_.empty()) {
        return;
    }
    const std::size_t slot = find(key);
    if (slots_[slot] != emptySlot) {
        vacate(slot);
        --takenSlots_;
        --size_;
    }
}

bool IDKeySet::contains(std::uint64_t key) const noexcept {
    if (key == emptySlot) {
        return zeroKeys_ > 0;
    }
    return !slots_.empty() && slots_[find(key)] == key;
}

void IDKeySet::reserve(std::size_t keys) {
    if (!isCrowded(keys, slots_.size())) {
        return;
    }
    std::size_t slotCount = std::max<std::size_t>(slots_.size(), 16);
    while (isCrowded(keys, slotCount)) {
        slotCount *= 2;
    }
    rehash(slotCount);
}

std::size_t IDKeySet::homeOf(std::uint64_t key) const noexcept {
    // Fibonacci hashing: the top bits of the product depend on every bit of the key, so keys
    // that differ only in a few bits, at either end, still spread out.
    constexpr std::uint64_t goldenRatio = 0x9E3779B97F4A7C15;
    const int shift = 64 - std::countr_zero(slots_.size());
    return static_cast<std::size_t>((key * goldenRatio) >> shift);
}

std::size_t IDKeySet::find(std::uint64_t key) const noexcept {
    std::size_t slot = homeOf(key);
    while (slots_[slot] != emptySlot && slots_[slot] != key) {
        slot = next(slot);
    }
    return slot;
}

void IDKeySet::place(std::uint64_t key) noexcept {
    std::size_t slot = homeOf(key);
    while (slots_[slot] != emptySlot) {
        slot = next(slot);
    }
    slots_[slot] = key;
}

void IDKeySet::vacate(std::size_t hole) noexcept {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t slot = next(hole); slots_[slot] != emptySlot; slot = next(slot)) {
        const std::size_t home = homeOf(slots_[slot]);
        if (((slot - home) & mask) >= ((slot - hole) & mask)) {
            slots_[hole] = slots_[slot];
            hole = slot;
        }
    }
    slots_[hole] = emptySlot;
}

void IDKeySet::rehash(std::size_t slotCount) {
    std::vector<std::uint64_t> old = std::exchange(slots_, std::vector<std::uint64_t>(slotCount));
    for (const std::uint64_t key : old) {
        if (key != emptySlot) {
            place(key);
        }
    }
}

}  // namespace tallowbeck
