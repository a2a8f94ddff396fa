#include "TallowbeckCore/platform/linux/LinuxHostStatistics.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>
#include <string_view>

#include "TallowbeckCore/platform/linux/KernelFile.hpp"

namespace tallowbeck {

namespace {

// The summary "cpu" line comes first and is a few hundred bytes; the rest of /proc/stat (one
// line per processor, interrupt counts) is not needed.
constexpr std::size_t statPrefixSize = 1024;
// /proc/meminfo is about 1.5 KiB; the fields used here are in its first half.
constexpr std::size_t meminfoPrefixSize = 8192;

std::string_view firstLine(std::string_view text) noexcept {
    return text.substr(0, text.find('\n'));
}

std::string_view withoutLeadingBlanks(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text;
}

// Stores the blank-separated numbers of `line` into `fields` (those beyond its size are only
// counted) and returns their count; empty when one of them is not a number.
template <std::size_t capacity>
std::optional<std::size_t> parseNumbers(std::string_view line,
                                        std::array<std::uint64_t, capacity>& fields) noexcept {
    std::size_t count = 0;
    for (line = withoutLeadingBlanks(line); !line.empty(); line = withoutLeadingBlanks(line)) {
        const std::string_view token = line.substr(0, line.find(' '));
        line.remove_prefix(token.size());
        const std::optional<std::uint64_t> value = KernelFile::wholeNumber<std::uint64_t>(token);
        if (!value) {
            return std::nullopt;
        }
        if (count < capacity) {
            fields[count] = *value;
        }
        ++count;
    }
    return count;
}

std::optional<CPUTickCounters> parseCPULine(std::string_view line) noexcept {
    constexpr std::string_view label = "cpu ";
    if (!line.starts_with(label)) {
        return std::nullopt;
    }
    enum Field { user, nice, system, idle, iowait, irq, softirq, steal, fieldCount };
    std::array<std::uint64_t, fieldCount> fields{};
    const std::optional<std::size_t> count = parseNumbers(line.substr(label.size()), fields);
    if (!count || *count <= idle) {
        return std::nullopt;
    }
    return CPUTickCounters{.user = fields[user],
                           .system = fields[system] + fields[irq] + fields[softirq] + fields[steal],
                           .idle = fields[idle] + fields[iowait],
                           .nice = fields[nice]};
}

enum MeminfoField { active, inactive, unevictable, kernelStack, pageTables, sUnreclaim, zswap };
constexpr std::array<std::string_view, 7> meminfoNames{
    "Active", "Inactive", "Unevictable", "KernelStack", "PageTables", "SUnreclaim", "Zswap"};
using MeminfoKilobytes = std::array<std::optional<std::uint64_t>, meminfoNames.size()>;

// The kB values of the fields named above; empty when one of them is not a number.
std::optional<MeminfoKilobytes> parseMeminfo(std::string_view text) noexcept {
    MeminfoKilobytes kilobytes;
    while (!text.empty()) {
        const std::string_view line = firstLine(text);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const std::size_t colon = line.find(':');
        const auto name =
            std::find(meminfoNames.begin(), meminfoNames.end(), line.substr(0, colon));
        if (colon == std::string_view::npos || name == meminfoNames.end()) {
            continue;
        }
        std::string_view field = withoutLeadingBlanks(line.substr(colon + 1));
        if (field.ends_with(" kB")) {
            field.remove_suffix(3);
        }
        const std::optional<std::uint64_t> value = KernelFile::wholeNumber<std::uint64_t>(field);
        if (!value) {
            return std::nullopt;
        }
        kilobytes[static_cast<std::size_t>(name - meminfoNames.begin())] = *value;
    }
    return kilobytes;
}

// Pages of the summed kB values; empty when a sum overflows, which only garbage can cause.
std::optional<std::uint64_t> pagesOf(std::initializer_list<std::uint64_t> kilobytes,
                                     std::uint64_t pageSize) noexcept {
    std::uint64_t total = 0;
    for (const std::uint64_t value : kilobytes) {
        if (__builtin_add_overflow(total, value, &total)) {
            return std::nullopt;
        }
    }
    if (__builtin_mul_overflow(total, std::uint64_t{1024}, &total)) {
        return std::nullopt;
    }
    return total / pageSize;
}

std::optional<VirtualMemoryPages> pagesFromMeminfo(const MeminfoKilobytes& kilobytes,
                                                   std::uint64_t pageSize) noexcept {
    const bool complete = std::all_of(kilobytes.begin(), kilobytes.begin() + zswap,
                                      [](const auto& value) { return value.has_value(); });
    if (!complete) {
        return std::nullopt;
    }
    const auto wired = pagesOf({*kilobytes[unevictable], *kilobytes[kernelStack],
                                *kilobytes[pageTables], *kilobytes[sUnreclaim]},
                               pageSize);
    const auto activePages = pagesOf({*kilobytes[active]}, pageSize);
    const auto inactivePages = pagesOf({*kilobytes[inactive]}, pageSize);
    const auto compressor = pagesOf({kilobytes[zswap].value_or(0)}, pageSize);
    if (!wired || !activePages || !inactivePages || !compressor) {
        return std::nullopt;
    }
    return VirtualMemoryPages{.wired = *wired,
                              .active = *activePages,
                              .inactive = *inactivePages,
                              .compressor = *compressor};
}

}  // namespace

HostStatistics& HostStatistics::system() {
    static LinuxHostStatistics instance;
    return instance;
}

LinuxHostStatistics::LinuxHostStatistics(const std::filesystem::path& root)
    : statPath_(root / "proc/stat"), meminfoPath_(root / "proc/meminfo") {}

HostStatistics::Port LinuxHostStatistics::takePort() noexcept { return noPort; }

void LinuxHostStatistics::releasePort(Port /*port*/) noexcept {}

std::optional<CPUTickCounters> LinuxHostStatistics::cpuTicks(Port /*port*/) noexcept {
    std::array<char, statPrefixSize> buffer;
    const std::optional<std::string_view> text = KernelFile::readPrefix(statPath_.c_str(), buffer);
    if (!text) {
        return std::nullopt;
    }
    return parseCPULine(firstLine(*text));
}

std::optional<VirtualMemoryPages> LinuxHostStatistics::virtualMemoryPages(Port port) noexcept {
    const std::optional<std::uint64_t> size = pageSize(port);
    std::array<char, meminfoPrefixSize> buffer;
    const std::optional<std::string_view> text =
        KernelFile::readPrefix(meminfoPath_.c_str(), buffer);
    if (!size || !text) {
        return std::nullopt;
    }
    const std::optional<MeminfoKilobytes> kilobytes = parseMeminfo(*text);
    if (!kilobytes) {
        return std::nullopt;
    }
    return pagesFromMeminfo(*kilobytes, *size);
}

std::optional<std::uint64_t> LinuxHostStatistics::pageSize(Port /*port*/) noexcept {
    const long size = ::sysconf(_SC_PAGESIZE);
    if (size <= 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(size);
}

std::uint64_t LinuxHostStatistics::physicalMemory() noexcept {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const std::optional<std::uint64_t> size = pageSize(noPort);
    std::uint64_t bytes = 0;
    if (pages <= 0 || !size ||
        __builtin_mul_overflow(static_cast<std::uint64_t>(pages), *size, &bytes)) {
        return 0;
    }
    return bytes;
}

}  // namespace tallowbeck
