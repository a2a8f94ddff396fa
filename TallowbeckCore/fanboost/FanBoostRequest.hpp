#pragma once

#include <string>
#include <string_view>

namespace tallowbeck {

class DecodingError;
struct FanBoostConfiguration;

// The requests of the fan helper's socket protocol, each one JSON object whose "operation" is
// "begin", "heartbeat" or "stop". A begin request also holds the configuration's members, so that
// the request as a whole is the configuration buffer that begin takes. Every reply is a
// FanBoostStatus in its JSON form.
class FanBoostRequest {
public:
    enum class Operation { begin, heartbeat, stop };

    // The one-sentence errors of replies to requests that cannot be served.
    static constexpr std::string_view malformedMessage =
        "The fan helper could not read the request.";
    static constexpr std::string_view unknownOperationMessage =
        "The fan helper does not offer the requested operation.";
    static constexpr std::string_view oversizedMessage =
        "The request is larger than the fan helper accepts.";

    static std::string begin(const FanBoostConfiguration& configuration);
    static std::string heartbeat();
    static std::string stop();

    // The request's operation. Throws DecodingError; an operation that is none of the three is
    // dataCorrupted at the key "operation".
    static Operation operation(std::string_view request);
    // The reply's error for a request that `error` kept from being decoded.
    static std::string_view problem(const DecodingError& error) noexcept;
};

}  // namespace tallowbeck
