#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/AwakeLockList.hpp"

namespace tallowbeck {
namespace {

using cli::AwakeLockList;
using HeldLock = PowerManagement::HeldLock;

// A user ID that no user database gives a name.
constexpr std::uint32_t namelessUser = 4'000'000'000u;

const std::vector<HeldLock> twoLocks{
    {"idle", "Quillmoss", "Quillmoss active session", "block", 0, 4242},
    {"sleep", "NetworkManager", "NetworkManager needs to turn off networks", "delay", namelessUser,
     17}};

TEST(AwakeLockListTests, TheTableShowsEveryLockInColumnsAndCountsThem) {
    EXPECT_EQ(AwakeLockList::text(twoLocks),
              "WHO             USER        PID   WHAT   WHY                                        "
              "MODE\n"
              "Quillmoss       root        4242  idle   Quillmoss active session                   "
              "block\n"
              "NetworkManager  4000000000  17    sleep  NetworkManager needs to turn off networks  "
              "delay\n"
              "2 locks held.\n");
}

TEST(AwakeLockListTests, OneLockIsCountedInTheSingular) {
    const std::string text = AwakeLockList::text({twoLocks.front()});
    EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2) + 1), "1 lock held.\n");
}

TEST(AwakeLockListTests, NoLockIsSaidInWords) {
    EXPECT_EQ(AwakeLockList::text({}), "No keep-awake lock is held.\n");
}

TEST(AwakeLockListTests, TheJSONFormIsOneObjectWithTheTimeAndEveryLock) {
    EXPECT_EQ(AwakeLockList::json(1'700'000'000.0, twoLocks),
              R"({"event":"locks","at":"2023-11-14T22:13:20Z","locks":[)"
              R"({"who":"Quillmoss","user":"root","uid":0,"pid":4242,"what":"idle",)"
              R"("why":"Quillmoss active session","mode":"block"},)"
              R"({"who":"NetworkManager","uid":4000000000,"pid":17,"what":"sleep",)"
              R"("why":"NetworkManager needs to turn off networks","mode":"delay"}]})");
    EXPECT_EQ(AwakeLockList::json(1'700'000'000.0, {}),
              R"({"event":"locks","at":"2023-11-14T22:13:20Z","locks":[]})");
}

TEST(AwakeLockListTests, AUserWithoutANameIsShownByNumber) {
    EXPECT_EQ(AwakeLockList::userName(0), "root");
    EXPECT_EQ(AwakeLockList::userName(namelessUser), "4000000000");
}

}  // namespace
}  // namespace tallowbeck
