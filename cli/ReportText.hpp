#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tallowbeck {
class JSONWriter;
}

namespace tallowbeck::cli {

// A temperature as the readable reports show it: "41.5 °C", or "unavailable" when absent.
std::string celsiusText(std::optional<double> temperature);

// Text from another process made safe for a terminal: each control character (C0, DEL and the
// C1 range, which terminals act on) as \xNN or \u00NN, so none can move the cursor or recolour
// the screen. Backslashes are doubled, so that an escape seen is one made here.
std::string printableText(std::string_view text);

// A date as the readable reports show it, "2024-05-01T12:34:56Z", or, for one that no date-time
// text can express, the end of the years 0000 to 9999 it lies beyond: "after 9999-12-31T23:59:59Z".
std::string dateText(double secondsSince1970);

// A date as the JSON reports write it, "2024-05-01T12:34:56.250Z", or null for one that no
// date-time text can express.
JSONWriter& dateValue(JSONWriter& json, double secondsSince1970);

}  // namespace tallowbeck::cli
