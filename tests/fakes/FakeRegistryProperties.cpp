#include "tests/fakes/FakeRegistryProperties.hpp"

#include <algorithm>

namespace tallowbeck::testing {

namespace {

FakeRegistryProperties::Lookup lookupOf(std::string_view serviceClass, std::string_view key) {
    return {std::string(serviceClass), std::string(key)};
}

}  // namespace

void FakeRegistryProperties::prepareNumber(std::string_view serviceClass, std::string_view key,
                                           double number) {
    properties_[lookupOf(serviceClass, key)] = {.kind = Property::Kind::number, .number = number};
}

void FakeRegistryProperties::prepareKind(std::string_view serviceClass, std::string_view key,
                                         Property::Kind kind) {
    properties_[lookupOf(serviceClass, key)] = {.kind = kind, .number = meaninglessNumber};
}

std::size_t FakeRegistryProperties::lookupCount(std::string_view serviceClass,
                                                std::string_view key) const {
    return static_cast<std::size_t>(std::ranges::count(lookups, lookupOf(serviceClass, key)));
}

RegistryProperties::Property FakeRegistryProperties::property(std::string_view serviceClass,
                                                              std::string_view key) noexcept {
    lookups.push_back(lookupOf(serviceClass, key));
    const auto prepared = properties_.find(lookups.back());
    if (prepared == properties_.end()) {
        return {.kind = Property::Kind::serviceMissing, .number = meaninglessNumber};
    }
    return prepared->second;
}

}  // namespace tallowbeck::testing
