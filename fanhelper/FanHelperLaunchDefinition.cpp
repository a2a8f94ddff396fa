#include "fanhelper/FanHelperLaunchDefinition.hpp"

#include <fmt/core.h>

#include <string_view>

#include "TallowbeckCore/fanboost/FanBoostService.hpp"
#include "TallowbeckCore/posix/AtomicFile.hpp"
#include "TallowbeckCore/posix/FileCalls.hpp"

namespace tallowbeck::fanhelper {
namespace {

constexpr mode_t readableByAll = 0644;

std::string escapedXML(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

}  // namespace

std::string FanHelperLaunchDefinition::text(const std::filesystem::path& program) {
    return fmt::format(
        R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Label</key>
	<string>{0}</string>
	<key>MachServices</key>
	<dict>
		<key>{0}</key>
		<true/>
	</dict>
	<key>Program</key>
	<string>{1}</string>
	<key>RunAtLoad</key>
	<true/>
	<key>KeepAlive</key>
	<dict>
		<key>SuccessfulExit</key>
		<false/>
	</dict>
</dict>
</plist>
)",
        FanBoostService::name, escapedXML(program.string()));
}

std::filesystem::path FanHelperLaunchDefinition::write(const std::filesystem::path& folder,
                                                       const std::filesystem::path& program) {
    const std::filesystem::path file = folder / FanBoostService::plistName;
    AtomicFile::replace(FileCalls::system(), file, text(program), readableByAll);
    return file;
}

}  // namespace tallowbeck::fanhelper
