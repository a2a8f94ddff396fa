#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tallowbeck {

// The eight major planets, outwards from the Sun.
enum class SolarSystemBody : std::uint8_t {
    mercury,
    venus,
    earth,
    mars,
    jupiter,
    saturn,
    uranus,
    neptune,
};

constexpr std::array<SolarSystemBody, 8> allSolarSystemBodies() noexcept {
    return {SolarSystemBody::mercury, SolarSystemBody::venus,   SolarSystemBody::earth,
            SolarSystemBody::mars,    SolarSystemBody::jupiter, SolarSystemBody::saturn,
            SolarSystemBody::uranus,  SolarSystemBody::neptune};
}

// "Mercury", "Venus", "Earth", "Mars", "Jupiter", "Saturn", "Uranus", "Neptune".
std::string_view textValue(SolarSystemBody body) noexcept;
// Only the eight exact texts give a body.
std::optional<SolarSystemBody> solarSystemBodyFromText(std::string_view text) noexcept;

}  // namespace tallowbeck
