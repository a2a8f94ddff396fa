#pragma once

#include <filesystem>
#include <optional>

#include "TallowbeckCore/platform/UserDirectories.hpp"

namespace tallowbeck {

// Directories chosen by the test.
class FakeUserDirectories final : public UserDirectories {
public:
    FakeUserDirectories(std::optional<std::filesystem::path> applicationSupport,
                        std::filesystem::path temporary)
        : applicationSupport_(std::move(applicationSupport)), temporary_(std::move(temporary)) {}

    std::optional<std::filesystem::path> applicationSupport() const override {
        return applicationSupport_;
    }
    std::filesystem::path temporary() const override { return temporary_; }

private:
    std::optional<std::filesystem::path> applicationSupport_;
    std::filesystem::path temporary_;
};

}  // namespace tallowbeck
