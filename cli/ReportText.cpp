#include "cli/ReportText.hpp"

#include <fmt/core.h>

#include "TallowbeckCore/support/InternetDateTime.hpp"
#include "TallowbeckCore/support/JSONWriter.hpp"

namespace tallowbeck::cli {

std::string celsiusText(std::optional<double> temperature) {
    return temperature ? fmt::format("{:.1f} °C", *temperature) : "unavailable";
}

std::string printableText(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const auto next = index + 1 < text.size() ? static_cast<unsigned char>(text[index + 1]) : 0;
        if (byte < 0x20 || byte == 0x7F) {
            printable += fmt::format("\\x{:02X}", byte);
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            printable += fmt::format("\\u00{:02X}", next);
            ++index;
        } else if (byte == '\\') {
            printable += "\\\\";
        } else {
            printable += static_cast<char>(byte);
        }
    }
    return printable;
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
