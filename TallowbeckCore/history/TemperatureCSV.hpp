#pragma once

#include <span>
#include <string>

#include "TallowbeckCore/history/TemperatureSample.hpp"

// The temperature history as CSV text for the user to save or share.
namespace tallowbeck::TemperatureCSV {

// The header line "timestamp,battery_celsius,thermal_state,session_active,lid_closed,
// cpu_max_celsius,gpu_max_celsius", then one line per sample in the given order; lines are joined
// by a line feed with none after the last. Temperatures have two decimals and a decimal point
// whatever the process's locale; absent ones are empty fields. A time that is not finite or lies
// outside the years 0000 to 9999 is an empty timestamp field. Never fails. (`export` itself is a
// C++ keyword.)
std::string exportText(std::span<const TemperatureSample> samples);

}  // namespace tallowbeck::TemperatureCSV
