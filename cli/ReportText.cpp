#include "cli/ReportText.hpp"

#include <fmt/core.h>

namespace tallowbeck::cli {

std::string celsiusText(std::optional<double> temperature) {
    return temperature ? fmt::format("{:.1f} °C", *temperature) : "unavailable";
}

}  // namespace tallowbeck::cli
