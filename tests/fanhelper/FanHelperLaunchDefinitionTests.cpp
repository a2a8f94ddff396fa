#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "fanhelper/FanHelperLaunchDefinition.hpp"
#include "tests/testing/FileContents.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck::fanhelper {
namespace {

constexpr const char* expected = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Label</key>
	<string>com.tallowbeck.Quillmoss.FanHelper</string>
	<key>MachServices</key>
	<dict>
		<key>com.tallowbeck.Quillmoss.FanHelper</key>
		<true/>
	</dict>
	<key>Program</key>
	<string>/Library/PrivilegedHelperTools/com.tallowbeck.Quillmoss.FanHelper</string>
	<key>RunAtLoad</key>
	<true/>
	<key>KeepAlive</key>
	<dict>
		<key>SuccessfulExit</key>
		<false/>
	</dict>
</dict>
</plist>
)";

TEST(FanHelperLaunchDefinitionTests, TheHelperIsLabelledAndReachedUnderItsServiceName) {
    EXPECT_EQ(FanHelperLaunchDefinition::text(
                  "/Library/PrivilegedHelperTools/com.tallowbeck.Quillmoss.FanHelper"),
              expected);
}

TEST(FanHelperLaunchDefinitionTests, AProgramPathIsWrittenAsXMLText) {
    const std::string text = FanHelperLaunchDefinition::text("/opt/R&D <fans>/helper");
    EXPECT_NE(text.find("<string>/opt/R&amp;D &lt;fans&gt;/helper</string>"), std::string::npos);
}

TEST(FanHelperLaunchDefinitionTests, ItIsWrittenUnderItsOwnNameReadableByAll) {
    const testing::TemporaryDirectory folder;
    const std::filesystem::path written = FanHelperLaunchDefinition::write(
        folder.path(), "/Library/PrivilegedHelperTools/com.tallowbeck.Quillmoss.FanHelper");
    EXPECT_EQ(written, folder.path() / "com.tallowbeck.Quillmoss.FanHelper.plist");
    EXPECT_EQ(testing::contentsOf(written), expected);
    struct stat status {};
    ASSERT_EQ(::stat(written.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
}

}  // namespace
}  // namespace tallowbeck::fanhelper
