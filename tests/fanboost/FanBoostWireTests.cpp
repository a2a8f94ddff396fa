// The fan helper's socket protocol: frames, requests and the service's names.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "TallowbeckCore/fanboost/FanBoostConfiguration.hpp"
#include "TallowbeckCore/fanboost/FanBoostFrame.hpp"
#include "TallowbeckCore/fanboost/FanBoostFrameReader.hpp"
#include "TallowbeckCore/fanboost/FanBoostRequest.hpp"
#include "TallowbeckCore/fanboost/FanBoostService.hpp"
#include "TallowbeckCore/support/DecodingError.hpp"
#include "tests/testing/Thrown.hpp"

namespace tallowbeck {
namespace {

using Operation = FanBoostRequest::Operation;

std::string header(std::uint32_t length) {
    return {static_cast<char>(length >> 24), static_cast<char>((length >> 16) & 0xFF),
            static_cast<char>((length >> 8) & 0xFF), static_cast<char>(length & 0xFF)};
}

TEST(FanBoostServiceTests, TheNamesAreTheOnesBothSidesAgreeOn) {
    EXPECT_EQ(FanBoostService::name, "com.tallowbeck.Quillmoss.FanHelper");
    EXPECT_EQ(FanBoostService::plistName, "com.tallowbeck.Quillmoss.FanHelper.plist");
    EXPECT_EQ(FanBoostService::clientRequirement,
              "anchor apple generic and identifier \"com.tallowbeck.Ordwell\" and certificate "
              "leaf[subject.OU] = \"R4VN8PLE2W\"");
    EXPECT_EQ(FanBoostService::helperRequirement,
              "anchor apple generic and identifier \"TallowbeckFanHelper\" and certificate "
              "leaf[subject.OU] = \"R4VN8PLE2W\"");
    // Handed to C interfaces as they are.
    EXPECT_EQ(FanBoostService::name.data()[FanBoostService::name.size()], '\0');
}

TEST(FanBoostFrameTests, APayloadFollowsItsLengthMostSignificantByteFirst) {
    EXPECT_EQ(FanBoostFrame::encode("{}"), header(2) + "{}");
    EXPECT_EQ(FanBoostFrame::encode(""), header(0));
    const std::string largest(FanBoostFrame::maximumPayloadSize, 'x');
    EXPECT_EQ(FanBoostFrame::encode(largest).substr(0, 4), std::string("\x00\x01\x00\x00", 4));
    EXPECT_THROW(FanBoostFrame::encode(largest + 'x'), std::length_error);
}

TEST(FanBoostFrameTests, TheReaderGivesWholePayloadsWhateverPiecesTheyArriveIn) {
    const std::string stream =
        FanBoostFrame::encode("first") + FanBoostFrame::encode("") + FanBoostFrame::encode("third");
    FanBoostFrameReader reader;
    std::vector<std::string> payloads;
    for (const char byte : stream) {
        reader.append(std::string_view(&byte, 1));
        while (std::optional<std::string> payload = reader.next()) {
            payloads.push_back(*payload);
        }
    }
    EXPECT_EQ(payloads, (std::vector<std::string>{"first", "", "third"}));
    EXPECT_EQ(reader.bufferedSize(), 0u);
}

TEST(FanBoostFrameTests, SeveralFramesInOnePieceComeOutOneByOne) {
    FanBoostFrameReader reader;
    reader.append(FanBoostFrame::encode("a") + FanBoostFrame::encode("bc") + header(3) + "d");
    EXPECT_EQ(reader.next(), "a");
    EXPECT_EQ(reader.next(), "bc");
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_EQ(reader.bufferedSize(), 5u);
    reader.append("ef");
    EXPECT_EQ(reader.next(), "def");
}

TEST(FanBoostFrameTests, AFrameOfExactly64KiBIsRead) {
    FanBoostFrameReader reader;
    const std::string largest(FanBoostFrame::maximumPayloadSize, 'x');
    reader.append(FanBoostFrame::encode(largest));
    EXPECT_EQ(reader.next(), largest);
    EXPECT_FALSE(reader.isOversized());
}

TEST(FanBoostFrameTests, AHeaderAnnouncingMoreThan64KiBEndsTheStream) {
    FanBoostFrameReader reader;
    reader.append(FanBoostFrame::encode("fine"));
    reader.append(header(FanBoostFrame::maximumPayloadSize + 1));
    EXPECT_EQ(reader.next(), "fine");
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_TRUE(reader.isOversized());
    // Nothing after it can be trusted, and nothing is kept.
    reader.append(FanBoostFrame::encode("later"));
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_EQ(reader.bufferedSize(), 0u);
}

TEST(FanBoostFrameTests, TheLargestLengthAHeaderCanHoldIsRefusedWithoutWaitingForIt) {
    FanBoostFrameReader reader;
    reader.append("\xff\xff\xff\xff");
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_TRUE(reader.isOversized());
}

TEST(FanBoostRequestTests, EachRequestNamesItsOperation) {
    const FanBoostConfiguration thresholds{.cpuThresholdCelsius = 72.5,
                                           .gpuThresholdCelsius = 90.0};
    EXPECT_EQ(FanBoostRequest::begin(thresholds),
              R"({"operation":"begin","cpuThresholdCelsius":72.5,"gpuThresholdCelsius":90})");
    EXPECT_EQ(FanBoostRequest::heartbeat(), R"({"operation":"heartbeat"})");
    EXPECT_EQ(FanBoostRequest::stop(), R"({"operation":"stop"})");
    EXPECT_EQ(FanBoostRequest::operation(FanBoostRequest::begin(thresholds)), Operation::begin);
    EXPECT_EQ(FanBoostRequest::operation(FanBoostRequest::heartbeat()), Operation::heartbeat);
    EXPECT_EQ(FanBoostRequest::operation(FanBoostRequest::stop()), Operation::stop);
    // A begin request is the configuration buffer begin takes.
    EXPECT_EQ(FanBoostConfiguration::fromJSON(FanBoostRequest::begin(thresholds)), thresholds);
}

TEST(FanBoostRequestTests, AnOperationThatIsNoneOfTheThreeIsUnknown) {
    for (const std::string_view request :
         {R"({"operation":"reboot"})", R"({"operation":"Begin"})", R"({"operation":""})"}) {
        const auto error =
            testing::thrown<DecodingError>([&] { FanBoostRequest::operation(request); });
        ASSERT_TRUE(error.has_value()) << request;
        EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted);
        EXPECT_EQ(error->key(), "operation");
        EXPECT_EQ(FanBoostRequest::problem(*error), FanBoostRequest::unknownOperationMessage);
    }
}

TEST(FanBoostRequestTests, WhatIsNotARequestAtAllIsMalformed) {
    for (const std::string_view request :
         {"", "heartbeat", R"(["heartbeat"])", R"({"operation":7})", R"({"op":"stop"})",
          R"({"operation":null})", R"({"operation":"stop")"}) {
        const auto error =
            testing::thrown<DecodingError>([&] { FanBoostRequest::operation(request); });
        ASSERT_TRUE(error.has_value()) << request;
        EXPECT_EQ(FanBoostRequest::problem(*error), FanBoostRequest::malformedMessage) << request;
    }
}

}  // namespace
}  // namespace tallowbeck
