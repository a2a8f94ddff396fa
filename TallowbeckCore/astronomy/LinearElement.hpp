#pragma once

namespace tallowbeck {

// An orbital element that changes linearly with time.
struct LinearElement {
    double base = 0.0;  // the value at J2000.0
    double rate = 0.0;  // the change per Julian century

    friend bool operator==(const LinearElement&, const LinearElement&) = default;
};

}  // namespace tallowbeck
