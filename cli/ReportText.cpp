#include "cli/ReportText.hpp"

#include <fmt/core.h>

#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck::cli {

std::string celsiusText(std::optional<double> temperature) {
    return temperature ? fmt::format("{:.1f} °C", *temperature) : "unavailable";
}

std::string dateText(double secondsSince1970) {
    if (InternetDateTime::canWrite(secondsSince1970)) {
        return InternetDateTime::text(secondsSince1970);
    }
    return secondsSince1970 < InternetDateTime::earliest ? "before 0000-01-01T00:00:00Z"
                                                         : "after 9999-12-31T23:59:59Z";
}

JSONWriter& dateValue(JSONWriter& json, double secondsSince1970) {
    if (InternetDateTime::canWriteWithMilliseconds(secondsSince1970)) {
        return json.value(InternetDateTime::textWithMilliseconds(secondsSince1970));
    }
    return json.null();
}

}  // namespace tallowbeck::cli
