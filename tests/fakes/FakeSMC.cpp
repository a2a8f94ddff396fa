#include "tests/fakes/FakeSMC.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "TallowbeckCore/support/WallClock.hpp"

namespace tallowbeck::testing {
namespace {

SMCKeyData answer(const SMCKeyData& request, const FakeSMC::Reply& prepared) noexcept {
    SMCKeyData output = request;
    output.result = prepared.result;
    output.dataSize = prepared.dataSize;
    output.dataType = prepared.dataType;
    output.bytes = prepared.bytes;
    return output;
}

FakeSMC::Reply unknownKeyReply() noexcept {
    FakeSMC::Reply reply;
    reply.result = FakeSMC::unknownKeyResult;
    return reply;
}

}  // namespace

void FakeSMC::prepareKey(std::string_view key, std::string_view type, std::uint32_t size,
                         std::span<const std::uint8_t> value) {
    Reply& info = reply(key, SMCKeyData::readKeyInfoCommand);
    info.dataSize = size;
    info.dataType = fourCharCode(type);
    Reply& read = reply(key, SMCKeyData::readBytesCommand);
    std::ranges::copy(value.first(std::min(value.size(), read.bytes.size())), read.bytes.begin());
}

void FakeSMC::prepareFloatKey(std::string_view key, float value) {
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(value);
    prepareKey(key, "flt ", 4, bytes);
}

FakeSMC::Reply& FakeSMC::reply(std::string_view key, std::uint8_t command) {
    return replies_[{fourCharCode(key), command}];
}

std::size_t FakeSMC::callCount(std::string_view key) const noexcept {
    return static_cast<std::size_t>(std::ranges::count_if(
        calls, [code = fourCharCode(key)](const Call& call) { return call.input.key == code; }));
}

SMCUserClient::Opening FakeSMC::open() noexcept {
    ++openCount;
    return opening;
}

std::int32_t FakeSMC::callStructMethod(Connection connection, std::uint32_t selector,
                                       std::span<const std::byte> input,
                                       std::span<std::byte> output,
                                       std::size_t& outputSize) noexcept {
    SMCKeyData::Bytes raw{};
    std::memcpy(raw.data(), input.data(), std::min(input.size(), raw.size()));
    const SMCKeyData request = SMCKeyData::fromBytes(raw);
    calls.push_back({.connection = connection,
                     .selector = selector,
                     .inputSize = input.size(),
                     .outputCapacity = output.size(),
                     .outputSizeOnEntry = outputSize,
                     .outputZeroedOnEntry = std::ranges::all_of(
                         output, [](std::byte byte) { return byte == std::byte{0}; }),
                     .input = request});

    const auto prepared = replies_.find({request.key, request.command});
    const Reply reply = prepared != replies_.end() ? prepared->second : unknownKeyReply();
    const SMCKeyData::Bytes answered = answer(request, reply).toBytes();
    std::memcpy(output.data(), answered.data(),
                std::min({reply.outputSize, output.size(), answered.size()}));
    outputSize = reply.outputSize;
    return reply.callStatus;
}

void FakeSMC::close(Connection connection) noexcept {
    closedConnections.push_back(connection);
    callCountAtLastClose = calls.size();
}

}  // namespace tallowbeck::testing
