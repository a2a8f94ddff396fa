#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "TallowbeckCore/platform/HostStatistics.hpp"

namespace tallowbeck::testing {

// Answers every query on the port it handed out with the value a test put in its field; a
// query on any other port fails. Counts the ports taken and notes those given back.
class FakeHostStatistics final : public HostStatistics {
public:
    static constexpr Port handedOutPort = 0x2603;

    std::optional<CPUTickCounters> ticks;
    std::optional<VirtualMemoryPages> pages;
    std::optional<std::uint64_t> pageBytes;
    std::uint64_t physicalBytes = 0;

    int portsTaken = 0;
    std::vector<Port> releasedPorts;
    // Called with the name of each query (and of releasePort) as it is made, where a test wants
    // to see the order.
    std::function<void(std::string_view query)> onQuery;

    Port takePort() noexcept override {
        ++portsTaken;
        return handedOutPort;
    }
    void releasePort(Port port) noexcept override {
        noteQuery("releasePort");
        releasedPorts.push_back(port);
    }

    std::optional<CPUTickCounters> cpuTicks(Port port) noexcept override {
        return answer("cpuTicks", port, ticks);
    }
    std::optional<VirtualMemoryPages> virtualMemoryPages(Port port) noexcept override {
        return answer("virtualMemoryPages", port, pages);
    }
    std::optional<std::uint64_t> pageSize(Port port) noexcept override {
        return answer("pageSize", port, pageBytes);
    }
    std::uint64_t physicalMemory() noexcept override {
        noteQuery("physicalMemory");
        return physicalBytes;
    }

private:
    template <typename Value>
    std::optional<Value> answer(std::string_view query, Port port,
                                const std::optional<Value>& value) {
        noteQuery(query);
        return port == handedOutPort ? value : std::nullopt;
    }

    void noteQuery(std::string_view query) {
        if (onQuery) {
            onQuery(query);
        }
    }
};

}  // namespace tallowbeck::testing
