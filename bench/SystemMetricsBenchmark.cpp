// Compares one reader sample with the bare cost of fetching the same sources, which is the floor
// any reader of /proc and statvfs has to pay.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>

#include "TallowbeckCore/metrics/SystemMetricsReader.hpp"

namespace {

// Reads the whole file and returns its size.
std::size_t readWholeFile(const char* path) {
    std::array<char, 16384> buffer;
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    std::size_t size = 0;
    for (ssize_t count = 0; (count = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
        size += static_cast<std::size_t>(count);
    }
    ::close(descriptor);
    return size;
}

void SystemMetricsReaderRead(benchmark::State& state) {
    tallowbeck::SystemMetricsReader reader;
    for (auto _ : state) {
        benchmark::DoNotOptimize(reader.read());
    }
}
BENCHMARK(SystemMetricsReaderRead);

void BareSourceRead(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(readWholeFile("/proc/stat"));
        benchmark::DoNotOptimize(readWholeFile("/proc/meminfo"));
        struct statvfs volume {};
        benchmark::DoNotOptimize(::statvfs("/", &volume));
        benchmark::DoNotOptimize(volume);
    }
}
BENCHMARK(BareSourceRead);

}  // namespace
