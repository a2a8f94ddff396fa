#include <cstdio>
#include <cstring>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"
#include "TallowbeckCore/power/PowerControlError.hpp"

// Exits 0 only when the installed headers and library work together.
int main() {
    const auto error = tallowbeck::PowerControlError::rootDomainOpenFailed(5);
    const char* expected = "Quillmoss could not open the power root domain (5).";
    if (std::strcmp(error.what(), expected) != 0) {
        std::fprintf(stderr, "unexpected message: %s\n", error.what());
        return 1;
    }
    tallowbeck::SystemMetricsReader reader;
    const auto metrics = reader.read();
    if (metrics.totalMemoryBytes == 0) {
        std::fprintf(stderr, "no physical memory figure\n");
        return 1;
    }
    std::puts("consumer linked and ran");
    return 0;
}
