#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "TallowbeckCore/platform/linux/LinuxHostStatistics.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

using testing::TemporaryDirectory;

constexpr const char* wellFormedStat =
    "cpu  10 20 30 40 50 60 70 80 90 100\n"
    "cpu0 5 10 15 20 25 30 35 40 45 50\n"
    "cpu1 5 10 15 20 25 30 35 40 45 50\n"
    "intr 12345 0 0 0\n"
    "ctxt 99\n";

// Values in multiples of 64 kB, so whole pages for every page size up to 64 KiB.
constexpr const char* wellFormedMeminfo =
    "MemTotal:       16777216 kB\n"
    "MemFree:         1048576 kB\n"
    "Active:          4194304 kB\n"
    "Inactive:        2097152 kB\n"
    "Active(anon):    1048576 kB\n"
    "Inactive(anon):   524288 kB\n"
    "Unevictable:       65536 kB\n"
    "Mlocked:           65536 kB\n"
    "Zswap:            131072 kB\n"
    "Zswapped:         524288 kB\n"
    "SUnreclaim:       262144 kB\n"
    "KernelStack:       32768 kB\n"
    "PageTables:        98304 kB\n"
    "HugePages_Total:       0\n"
    "Hugepagesize:       2048 kB\n";

std::uint64_t systemPageSize() { return static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)); }

std::uint64_t pagesOf(std::uint64_t kilobytes) { return kilobytes * 1024 / systemPageSize(); }

class LinuxHostStatisticsTests : public ::testing::Test {
protected:
    LinuxHostStatistics statisticsWith(const std::string& stat, const std::string& meminfo) {
        directory.write("proc/stat", stat);
        directory.write("proc/meminfo", meminfo);
        return LinuxHostStatistics(directory.path());
    }

    TemporaryDirectory directory;
};

TEST_F(LinuxHostStatisticsTests, TickCountersFromTheSummaryLine) {
    auto statistics = statisticsWith(wellFormedStat, wellFormedMeminfo);
    const auto ticks = statistics.cpuTicks(LinuxHostStatistics::noPort);
    ASSERT_TRUE(ticks);
    EXPECT_EQ(ticks->user, 10u);
    EXPECT_EQ(ticks->nice, 20u);
    EXPECT_EQ(ticks->system, 30u + 60u + 70u + 80u);
    EXPECT_EQ(ticks->idle, 40u + 50u);
}

TEST_F(LinuxHostStatisticsTests, OldKernelsWithFourCountersAreRead) {
    auto statistics = statisticsWith("cpu 1 2 3 4\ncpu0 1 2 3 4\n", wellFormedMeminfo);
    const auto ticks = statistics.cpuTicks(LinuxHostStatistics::noPort);
    ASSERT_TRUE(ticks);
    EXPECT_EQ(ticks->user, 1u);
    EXPECT_EQ(ticks->nice, 2u);
    EXPECT_EQ(ticks->system, 3u);
    EXPECT_EQ(ticks->idle, 4u);
}

TEST_F(LinuxHostStatisticsTests, StatWithoutTrailingNewlineIsRead) {
    auto statistics = statisticsWith("cpu  7 0 3 90", wellFormedMeminfo);
    const auto ticks = statistics.cpuTicks(LinuxHostStatistics::noPort);
    ASSERT_TRUE(ticks);
    EXPECT_EQ(ticks->idle, 90u);
}

TEST_F(LinuxHostStatisticsTests, MissingStatGivesNoTicks) {
    directory.write("proc/meminfo", wellFormedMeminfo);
    EXPECT_EQ(LinuxHostStatistics(directory.path()).cpuTicks(LinuxHostStatistics::noPort),
              std::nullopt);
}

TEST_F(LinuxHostStatisticsTests, GarbledStatGivesNoTicks) {
    for (const char* stat : {"", "\n", "cpu  10 x 30 40\n", "cpu  10 20 30\n", "cpu0 1 2 3 4\n",
                             "intr 1 2 3 4\ncpu 1 2 3 4\n", "cpu  1 2 3 -4\n", "cpu  1 2 3 4x\n",
                             "cpu  1 2 3 99999999999999999999999\n", "cpux 1 2 3 4\n"}) {
        auto statistics = statisticsWith(stat, wellFormedMeminfo);
        EXPECT_EQ(statistics.cpuTicks(LinuxHostStatistics::noPort), std::nullopt)
            << '"' << stat << '"';
    }
}

TEST_F(LinuxHostStatisticsTests, PageCountsFromMeminfo) {
    auto statistics = statisticsWith(wellFormedStat, wellFormedMeminfo);
    const auto pages = statistics.virtualMemoryPages(LinuxHostStatistics::noPort);
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->wired, pagesOf(65536 + 32768 + 98304 + 262144));
    EXPECT_EQ(pages->active, pagesOf(4194304));
    EXPECT_EQ(pages->inactive, pagesOf(2097152));
    EXPECT_EQ(pages->compressor, pagesOf(131072));
}

TEST_F(LinuxHostStatisticsTests, NoZswapLineMeansNoCompressorPages) {
    std::string meminfo = wellFormedMeminfo;
    meminfo.erase(meminfo.find("Zswap:"), std::string("Zswap:            131072 kB\n").size());
    auto statistics = statisticsWith(wellFormedStat, meminfo);
    const auto pages = statistics.virtualMemoryPages(LinuxHostStatistics::noPort);
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->compressor, 0u);
    EXPECT_EQ(pages->active, pagesOf(4194304));
}

TEST_F(LinuxHostStatisticsTests, MissingMeminfoGivesNoPages) {
    directory.write("proc/stat", wellFormedStat);
    EXPECT_EQ(LinuxHostStatistics(directory.path()).virtualMemoryPages(LinuxHostStatistics::noPort),
              std::nullopt);
}

TEST_F(LinuxHostStatisticsTests, MeminfoWithoutARequiredFieldGivesNoPages) {
    for (const char* field :
         {"Active:", "Inactive:", "Unevictable:", "KernelStack:", "PageTables:", "SUnreclaim:"}) {
        std::string meminfo = wellFormedMeminfo;
        const std::size_t start = meminfo.find(field);
        meminfo.erase(start, meminfo.find('\n', start) + 1 - start);
        auto statistics = statisticsWith(wellFormedStat, meminfo);
        EXPECT_EQ(statistics.virtualMemoryPages(LinuxHostStatistics::noPort), std::nullopt)
            << field;
    }
}

TEST_F(LinuxHostStatisticsTests, GarbledMeminfoGivesNoPages) {
    const std::string wellFormedLine = "Active:          4194304 kB";
    for (const char* line :
         {"Active:          lots kB", "Active:          -5 kB", "Active:          12 MB",
          "Active:", "Active          4194304 kB", "Active:          99999999999999999999 kB",
          "Active:          18014398509481984 kB"}) {
        std::string meminfo = wellFormedMeminfo;
        meminfo.replace(meminfo.find(wellFormedLine), wellFormedLine.size(), line);
        auto statistics = statisticsWith(wellFormedStat, meminfo);
        EXPECT_EQ(statistics.virtualMemoryPages(LinuxHostStatistics::noPort), std::nullopt) << line;
    }
}

TEST_F(LinuxHostStatisticsTests, PageSizeAndPhysicalMemoryComeFromTheSystem) {
    LinuxHostStatistics statistics(directory.path());
    EXPECT_EQ(statistics.pageSize(LinuxHostStatistics::noPort), systemPageSize());
    EXPECT_EQ(statistics.physicalMemory(),
              static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * systemPageSize());
}

TEST(LinuxHostStatisticsSystemTests, ReadsThisMachine) {
    HostStatistics& statistics = HostStatistics::system();
    const HostStatistics::Port port = statistics.takePort();
    const auto ticks = statistics.cpuTicks(port);
    const auto pages = statistics.virtualMemoryPages(port);
    statistics.releasePort(port);
    ASSERT_TRUE(ticks);
    EXPECT_GT(ticks->user + ticks->system + ticks->idle + ticks->nice, 0u);
    ASSERT_TRUE(pages);
    EXPECT_GT(pages->wired + pages->active + pages->inactive, 0u);
    EXPECT_GT(statistics.physicalMemory(), 0u);
}

}  // namespace
}  // namespace tallowbeck
