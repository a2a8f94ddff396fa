#pragma once

#include <filesystem>
#include <set>

#include "tests/fakes/ForwardingFileCalls.hpp"

namespace tallowbeck::testing {

// The system's file calls, except that the file at one path seems to belong to another user,
// whether asked about by its path (also as "path/.") or through a descriptor opened on it. No
// second user needed.
class ForeignOwnerFileCalls final : public ForwardingFileCalls {
public:
    ForeignOwnerFileCalls(std::filesystem::path path, uid_t owner)
        : path_(std::move(path)), owner_(owner) {}

    int open(const char* path, int flags, mode_t mode) override {
        const int descriptor = ForwardingFileCalls::open(path, flags, mode);
        if (descriptor >= 0 && names(path)) {
            claimed_.insert(descriptor);
        } else {
            claimed_.erase(descriptor);
        }
        return descriptor;
    }
    int fstat(int descriptor, FileAttributes& attributes) override {
        const int result = ForwardingFileCalls::fstat(descriptor, attributes);
        if (result == 0 && claimed_.contains(descriptor)) {
            attributes.owner = owner_;
        }
        return result;
    }
    int lstat(const char* path, FileAttributes& attributes) override {
        const int result = ForwardingFileCalls::lstat(path, attributes);
        if (result == 0 && names(path)) {
            attributes.owner = owner_;
        }
        return result;
    }

private:
    bool names(const char* path) const {
        const std::filesystem::path named(path);
        return named == path_ || (named.filename() == "." && named.parent_path() == path_);
    }

    std::filesystem::path path_;
    uid_t owner_;
    // Descriptors opened on the path; a number opened again on another file leaves the set.
    std::set<int> claimed_;
};

}  // namespace tallowbeck::testing
