// `tallowbeck metrics` fed to the real consumers: promtool, node_exporter's textfile collector and
// a Prometheus server scraping the tool's own endpoint. Each runs on a free port and is stopped
// at the end of its test.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "TallowbeckCore/posix/FileDescriptor.hpp"
#include "tests/testing/BecomesTrue.hpp"
#include "tests/testing/CapturedOutput.hpp"
#include "tests/testing/ChildProcess.hpp"
#include "tests/testing/DyingWithThisProcess.hpp"
#include "tests/testing/ProgramRun.hpp"
#include "tests/testing/TemporaryDirectory.hpp"

namespace tallowbeck {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::CapturedOutput;
using testing::ChildProcess;

constexpr auto startPatience = 30s;
constexpr auto stopPatience = 5s;

// A TCP port on the loopback interface that nobody listens on just now.
std::uint16_t freePort() {
    const FileDescriptor probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no free port");
    }
    return ntohs(address.sin_port);
}

// The body at `url`, or nothing when it cannot be fetched.
std::optional<std::string> httpGet(const std::string& url) {
    const testing::ProgramResult result = testing::runProgram(
        TALLOWBECK_SYSTEM_PYTHON_PATH,
        {"-c",
         "import sys, urllib.request\n"
         "sys.stdout.write(urllib.request.urlopen(sys.argv[1], timeout=5).read().decode())",
         url});
    return result.exitStatus == 0 ? std::optional(result.standardOutput) : std::nullopt;
}

std::uint64_t memTotalBytes() {
    std::ifstream meminfo("/proc/meminfo");
    std::string name;
    std::uint64_t kilobytes = 0;
    while (meminfo >> name >> kilobytes) {
        if (name == "MemTotal:") {
            return kilobytes * 1024;
        }
        meminfo.ignore(64, '\n');
    }
    throw std::runtime_error("no MemTotal in /proc/meminfo");
}

// The value of the sample of `name` without labels in an exposition, however its number is
// written ("17179869184" or "1.7179869184e+10").
std::optional<double> sampleValue(const std::string& exposition, const std::string& name) {
    const std::regex line("(^|\n)" + name + " ([^\n]+)");
    std::smatch match;
    if (!std::regex_search(exposition, match, line)) {
        return std::nullopt;
    }
    return std::stod(match[2].str());
}

class MetricsEndToEndTests : public ::testing::Test {
protected:
    std::vector<std::string> withHistory(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--file", (folder.path() / "history.json").string()});
        return arguments;
    }

    // `tallowbeck metrics --listen` on a free port, once it has said which.
    ChildProcess serveMetrics(std::uint16_t& port) {
        ChildProcess tool = ChildProcess::start(
            TALLOWBECK_CLI_PATH, withHistory({"metrics", "--listen", "127.0.0.1:0"}),
            {.input = -1, .output = served.descriptor(), .error = served.descriptor()},
            testing::dyingWithThisProcess());
        std::smatch match;
        const std::regex announcement("Serving metrics on port ([0-9]+) at /metrics\n");
        std::string text;
        if (!testing::becomesTrueWithin(startPatience, [&] {
                text = served.text();
                return std::regex_search(text, match, announcement);
            })) {
            throw std::runtime_error("tallowbeck metrics --listen did not start: " + text);
        }
        port = static_cast<std::uint16_t>(std::stoi(match[1].str()));
        return tool;
    }

    testing::TemporaryDirectory folder;
    CapturedOutput served;
};

TEST_F(MetricsEndToEndTests, PromtoolAcceptsTheExposition) {
    const testing::ProgramResult metrics =
        testing::runProgram(TALLOWBECK_CLI_PATH, withHistory({"metrics"}));
    ASSERT_EQ(metrics.exitStatus, 0) << metrics.standardError;
    EXPECT_EQ(sampleValue(metrics.standardOutput, "tallowbeck_memory_total_bytes"),
              static_cast<double>(memTotalBytes()))
        << metrics.standardOutput;
    const fs::path file = folder.path() / "metrics.prom";
    std::ofstream(file) << metrics.standardOutput;
    const FileDescriptor input(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const CapturedOutput verdict;
    ChildProcess promtool = ChildProcess::start(
        TALLOWBECK_PROMTOOL_PATH, {"check", "metrics"},
        {.input = input.get(), .output = verdict.descriptor(), .error = verdict.descriptor()});
    EXPECT_EQ(promtool.waitForExit().shellStatus(), 0) << verdict.text();
}

TEST_F(MetricsEndToEndTests, NodeExporterExposesTheTextfile) {
    const fs::path textfiles = folder.path() / "textfiles";
    fs::create_directory(textfiles);
    const testing::ProgramResult written = testing::runProgram(
        TALLOWBECK_CLI_PATH, withHistory({"metrics", "--textfile", textfiles.string()}));
    ASSERT_EQ(written.exitStatus, 0) << written.standardError;
    EXPECT_EQ(written.standardOutput, "");
    EXPECT_EQ(fs::status(textfiles / "tallowbeck.prom").permissions(), fs::perms(0644));
    const std::uint16_t port = freePort();
    const CapturedOutput log;
    ChildProcess exporter = ChildProcess::start(
        TALLOWBECK_NODE_EXPORTER_PATH,
        {"--web.listen-address=127.0.0.1:" + std::to_string(port), "--collector.disable-defaults",
         "--collector.textfile", "--collector.textfile.directory=" + textfiles.string()},
        {.input = -1, .output = log.descriptor(), .error = log.descriptor()},
        testing::dyingWithThisProcess());
    std::optional<std::string> exposed;
    ASSERT_TRUE(testing::becomesTrueWithin(startPatience, [&] {
        exposed = httpGet("http://127.0.0.1:" + std::to_string(port) + "/metrics");
        return exposed.has_value();
    })) << log.text();
    EXPECT_EQ(sampleValue(*exposed, "tallowbeck_memory_total_bytes"),
              static_cast<double>(memTotalBytes()))
        << *exposed;
    EXPECT_EQ(sampleValue(*exposed, "node_textfile_scrape_error"), 0.0) << *exposed;
    exporter.stop(stopPatience);
}

TEST_F(MetricsEndToEndTests, APrometheusServerScrapesTheEndpoint) {
    std::uint16_t metricsPort = 0;
    ChildProcess tool = serveMetrics(metricsPort);
    const std::uint16_t serverPort = freePort();
    const fs::path configuration = folder.path() / "prometheus.yml";
    std::ofstream(configuration) << "global:\n  scrape_interval: 1s\n"
                                 << "scrape_configs:\n  - job_name: tallowbeck\n"
                                 << "    static_configs:\n      - targets: ['127.0.0.1:"
                                 << metricsPort << "']\n";
    const CapturedOutput log;
    ChildProcess server =
        ChildProcess::start(TALLOWBECK_PROMETHEUS_PATH,
                            {"--config.file=" + configuration.string(),
                             "--storage.tsdb.path=" + (folder.path() / "data").string(),
                             "--web.listen-address=127.0.0.1:" + std::to_string(serverPort)},
                            {.input = -1, .output = log.descriptor(), .error = log.descriptor()},
                            testing::dyingWithThisProcess());
    const std::string query = "http://127.0.0.1:" + std::to_string(serverPort) +
                              "/api/v1/query?query=tallowbeck_memory_total_bytes";
    const std::string expected = "\"" + std::to_string(memTotalBytes()) + "\"]";
    std::optional<std::string> answer;
    EXPECT_TRUE(testing::becomesTrueWithin(startPatience,
                                           [&] {
                                               answer = httpGet(query);
                                               return answer &&
                                                      answer->find(expected) != std::string::npos;
                                           }))
        << answer.value_or("no answer") << "\n"
        << log.text();
    server.stop(stopPatience);
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.waitForExit().shellStatus(), 0) << served.text();
}

TEST_F(MetricsEndToEndTests, AnAddressInUseIsOneClearLine) {
    std::uint16_t port = 0;
    ChildProcess first = serveMetrics(port);
    const testing::ProgramResult second = testing::runProgram(
        TALLOWBECK_CLI_PATH,
        withHistory({"metrics", "--listen", "127.0.0.1:" + std::to_string(port)}));
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_TRUE(second.standardError.starts_with(
        "tallowbeck: cannot listen on 127.0.0.1:" + std::to_string(port) + ": "))
        << second.standardError;
    first.signal(SIGTERM);
    EXPECT_EQ(first.waitForExit().shellStatus(), 0);
}

}  // namespace
}  // namespace tallowbeck
