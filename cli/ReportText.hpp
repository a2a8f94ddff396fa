#pragma once

#include <optional>
#include <string>

namespace tallowbeck::cli {

// A temperature as the readable reports show it: "41.5 °C", or "unavailable" when absent.
std::string celsiusText(std::optional<double> temperature);

}  // namespace tallowbeck::cli
