#pragma once

#include "TallowbeckCore/platform/MemoryPressureEvents.hpp"

namespace tallowbeck {

// The dispatch memory-pressure source. Each subscription owns a source and the serial queue
// that its events arrive on.
class DarwinMemoryPressureEvents final : public MemoryPressureEvents {
public:
    std::unique_ptr<Subscription> subscribe(Handler handler) override;
};

}  // namespace tallowbeck
