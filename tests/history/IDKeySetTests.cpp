#include <gtest/gtest.h>

#include <random>
#include <set>

#include "TallowbeckCore/history/IDKeySet.hpp"

namespace tallowbeck {
namespace {

TEST(IDKeySetTests, AnEmptySetHoldsNothing) {
    IDKeySet keys;
    EXPECT_EQ(keys.size(), 0U);
    EXPECT_FALSE(keys.contains(7));
    EXPECT_FALSE(keys.contains(0));
    keys.erase(7);
    keys.erase(0);
    EXPECT_EQ(keys.size(), 0U);
}

TEST(IDKeySetTests, HoldsWhatWasInsertedUntilItIsErased) {
    IDKeySet keys;
    keys.insert(42);
    EXPECT_TRUE(keys.contains(42));
    EXPECT_FALSE(keys.contains(43));
    keys.erase(43);
    EXPECT_EQ(keys.size(), 1U);
    keys.erase(42);
    EXPECT_FALSE(keys.contains(42));
    EXPECT_EQ(keys.size(), 0U);
}

TEST(IDKeySetTests, ZeroIsAKeyLikeAnyOther) {
    IDKeySet keys;
    keys.insert(0);
    keys.insert(0);
    EXPECT_TRUE(keys.contains(0));
    EXPECT_EQ(keys.size(), 2U);
    keys.erase(0);
    EXPECT_TRUE(keys.contains(0));
    keys.erase(0);
    EXPECT_FALSE(keys.contains(0));
}

TEST(IDKeySetTests, EachCopyOfAKeyIsErasedSeparately) {
    IDKeySet keys;
    keys.insert(5);
    keys.insert(5);
    keys.erase(5);
    EXPECT_TRUE(keys.contains(5));
    keys.erase(5);
    EXPECT_FALSE(keys.contains(5));
}

TEST(IDKeySetTests, FindsEveryOneOfManyKeysAlike) {
    // Keys that differ only in their low or only in their high bits, the worst for a weak hash.
    IDKeySet keys;
    constexpr std::uint64_t count = 50000;
    for (std::uint64_t key = 1; key <= count; ++key) {
        keys.insert(key);
        keys.insert(key << 40);
    }
    EXPECT_EQ(keys.size(), 2 * count);
    for (std::uint64_t key = 1; key <= count; ++key) {
        ASSERT_TRUE(keys.contains(key)) << key;
        ASSERT_TRUE(keys.contains(key << 40)) << key;
    }
    EXPECT_FALSE(keys.contains(count + 1));
    EXPECT_FALSE(keys.contains((count + 1) << 40));
}

TEST(IDKeySetTests, AgreesWithAMultisetThroughRandomInsertsAndErases) {
    // Few distinct keys, so that runs of taken slots form, wrap around the end and are broken
    // up by erasures again and again.
    std::mt19937_64 random(20261122);
    std::vector<std::uint64_t> universe{0};
    for (int index = 1; index < 300; ++index) {
        universe.push_back(index % 3 == 0 ? random() : static_cast<std::uint64_t>(index) << 56);
    }
    std::uniform_int_distribution<std::size_t> pick(0, universe.size() - 1);
    IDKeySet keys;
    std::multiset<std::uint64_t> model;
    for (int step = 0; step < 6000; ++step) {
        const std::uint64_t key = universe[pick(random)];
        // Inserting more often than erasing lets the set grow through several sizes.
        if (random() % 100 < 60) {
            keys.insert(key);
            model.insert(key);
        } else {
            keys.erase(key);
            if (const auto found = model.find(key); found != model.end()) {
                model.erase(found);
            }
        }
        ASSERT_EQ(keys.size(), model.size()) << "step " << step;
        // An erasure can break the search for any other key in its run.
        for (const std::uint64_t probe : universe) {
            ASSERT_EQ(keys.contains(probe), model.contains(probe)) << "step " << step;
        }
    }
}

}  // namespace
}  // namespace tallowbeck
