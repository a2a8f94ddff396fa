#include "tests/fakes/FakeRegistryProperties.hpp"

namespace tallowbeck::testing {

namespace {

FakeRegistryProperties::Lookup lookupOf(std::string_view serviceClass, std::string_view key) {
    return {std::string(serviceClass), std::string(key)};
}

}  // namespace

void FakeRegistryProperties::prepare(std::string_view serviceClass, std::string_view key,
                                     RegistryValue value) {
    properties_.insert_or_assign(lookupOf(serviceClass, key), std::move(value));
}

RegistryValue FakeRegistryProperties::property(std::string_view serviceClass,
                                               std::string_view key) noexcept {
    lookups.push_back(lookupOf(serviceClass, key));
    const auto prepared = properties_.find(lookups.back());
    if (prepared == properties_.end()) {
        return RegistryValue::missingService();
    }
    return prepared->second;
}

}  // namespace tallowbeck::testing
