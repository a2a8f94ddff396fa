#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "TallowbeckCore/support/UUID.hpp"

namespace tallowbeck {

// A multiset of 64-bit keys in which a lookup costs the same however many it holds. Open
// addressing with linear probing keeps it to one word a slot, doubling the slots once three
// quarters are taken; the zero word marks a free slot, so keys of zero are only counted. Each
// distinct key takes one slot, and copies of it beyond the first are only counted: a run of
// copies would make every insertion after them walk past all of them.
class IDKeySet {
public:
    // Half of the id: random ids share it only when they are the same, so a key that is held
    // marks an id worth comparing in full, and one that is not rules the id out.
    static std::uint64_t keyOf(const UUID& id) noexcept;

    void insert(std::uint64_t key);
    // Removes one occurrence of `key`, if there is one.
    void erase(std::uint64_t key) noexcept;
    bool contains(std::uint64_t key) const noexcept;
    std::size_t size() const noexcept { return size_; }
    void reserve(std::size_t keys);

private:
    std::size_t homeOf(std::uint64_t key) const noexcept;
    std::size_t next(std::size_t slot) const noexcept { return (slot + 1) & (slots_.size() - 1); }
    // The slot holding `key`, or the free slot where a search for it ends.
    std::size_t find(std::uint64_t key) const noexcept;
    // Puts `key` in the first free slot from its home; there must be one.
    void place(std::uint64_t key) noexcept;
    // Empties `hole`, moving back the later keys whose search would otherwise stop there.
    void vacate(std::size_t hole) noexcept;
    void rehash(std::size_t slotCount);

    std::vector<std::uint64_t> slots_;  // a power of two in size, or empty
    std::size_t takenSlots_ = 0;
    // Copies of a key beyond the one in its slot, for the keys held more than once.
    std::unordered_map<std::uint64_t, std::size_t> extraCopies_;
    std::size_t zeroKeys_ = 0;
    std::size_t size_ = 0;
};

}  // namespace tallowbeck
