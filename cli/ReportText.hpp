#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck::cli {

// A temperature as the readable reports show it: "41.5 °C", or "unavailable" when absent.
std::string celsiusText(std::optional<double> temperature);

// Text from another process made safe for a terminal: each control character (C0, DEL and the
// C1 range, which terminals act on) as \xNN or \u00NN, so none can move the cursor or recolour
// the screen. Backslashes are doubled, so that an escape seen is one made here.
std::string printableText(std::string_view text);

}  // namespace tallowbeck::cli
