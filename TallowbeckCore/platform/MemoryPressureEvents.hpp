#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace tallowbeck {

// The system's memory-pressure notifications. Each event carries a set of flags.
class MemoryPressureEvents {
public:
    static constexpr std::uint64_t normalFlag = 1;
    static constexpr std::uint64_t warningFlag = 2;
    static constexpr std::uint64_t criticalFlag = 4;

    using Handler = std::function<void(std::uint64_t flags)>;

    // Keeps events flowing while it lives; its destruction stops them and waits until no
    // handler call is running any more.
    class Subscription {
    public:
        virtual ~Subscription() = default;
    };

    virtual ~MemoryPressureEvents() = default;

    // The handler runs on a thread of the subscription's own, one event at a time.
    virtual std::unique_ptr<Subscription> subscribe(Handler handler) = 0;

    static MemoryPressureEvents& system();
};

}  // namespace tallowbeck
