// The CPU share that `tallowbeck history record --every 1` takes while it runs, measured from
// outside: the process's own user and system time (wait4) over the wall time it ran.
// TALLOWBECK_RECORDING_SECONDS sets how long it runs (default 60).
#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

extern char** environ;

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int recordingSeconds() {
    const char* configured = std::getenv("TALLOWBECK_RECORDING_SECONDS");
    return configured ? std::max(1, std::atoi(configured)) : 60;
}

void RecordEverySecond(benchmark::State& state) {
    std::string pattern = (std::filesystem::current_path() / "recording-bench-XXXXXX").string();
    const std::filesystem::path directory = ::mkdtemp(pattern.data());
    const std::string file = (directory / "temperature-history.json").string();
    for (auto _ : state) {
        const char* arguments[] = {TALLOWBECK_CLI_PATH, "history", "--file", file.c_str(), "record",
                                   "--every",           "1",       nullptr};
        pid_t child = 0;
        if (::posix_spawn(&child, TALLOWBECK_CLI_PATH, nullptr, nullptr,
                          const_cast<char**>(arguments), environ) != 0) {
            state.SkipWithError("cannot start tallowbeck");
            break;
        }
        const auto started = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(recordingSeconds()));
        ::kill(child, SIGINT);
        int status = 0;
        rusage usage{};
        ::wait4(child, &status, 0, &usage);
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - started;
        const double cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
        state.counters["cpuPercentOfOneCore"] = 100.0 * cpu / wall.count();
        state.counters["cpuMilliseconds"] = 1000.0 * cpu;
        state.counters["exitStatus"] = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::filesystem::remove_all(directory);
}
BENCHMARK(RecordEverySecond)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
