#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "TallowbeckCore/temperature/SMCKeyData.hpp"

namespace tallowbeck {
namespace {

using namespace std::string_view_literals;

std::uint8_t byteAt(const SMCKeyData::Bytes& raw, std::size_t offset) {
    return static_cast<std::uint8_t>(raw[offset]);
}

TEST(SMCKeyDataTests, FourCharCodePutsTheFirstCharacterInTheMostSignificantByte) {
    EXPECT_EQ(fourCharCode("flt "), 0x666C7420u);
    EXPECT_EQ(fourCharCode("Tp09"), 0x54703039u);
    EXPECT_EQ(fourCharCode("Tg0T"), 0x5467'3054u);
}

TEST(SMCKeyDataTests, FourCharCodeTakesBytesAboveSevenBitsUnsigned) {
    EXPECT_EQ(fourCharCode("\xFF\x80\x01\x00"sv), 0xFF800100u);
}

TEST(SMCKeyDataTests, KeyIsStoredLowestByteFirst) {
    const SMCKeyData::Bytes raw = SMCKeyData::request("flt ", 0).toBytes();
    EXPECT_EQ(byteAt(raw, 0), 0x20);
    EXPECT_EQ(byteAt(raw, 1), 0x74);
    EXPECT_EQ(byteAt(raw, 2), 0x6C);
    EXPECT_EQ(byteAt(raw, 3), 0x66);
}

TEST(SMCKeyDataTests, RequestSetsOnlyTheKeyAndTheCommandByte) {
    const SMCKeyData::Bytes raw =
        SMCKeyData::request("Tp09", SMCKeyData::readKeyInfoCommand).toBytes();
    for (std::size_t offset = 0; offset < raw.size(); ++offset) {
        const std::uint8_t expected = [&]() -> std::uint8_t {
            switch (offset) {
                case 0:
                    return '9';
                case 1:
                    return '0';
                case 2:
                    return 'p';
                case 3:
                    return 'T';
                case 42:
                    return 9;
                default:
                    return 0;
            }
        }();
        EXPECT_EQ(byteAt(raw, offset), expected) << "offset " << offset;
    }
}

TEST(SMCKeyDataTests, CommandCodesAndSelectorAreTheControllersOwn) {
    EXPECT_EQ(SMCKeyData::readKeyInfoCommand, 9);
    EXPECT_EQ(SMCKeyData::readBytesCommand, 5);
    EXPECT_EQ(SMCKeyData::writeBytesCommand, 6);
    EXPECT_EQ(SMCKeyData::structMethodSelector, 2u);
    EXPECT_EQ(SMCKeyData::size, 80u);
}

TEST(SMCKeyDataTests, FieldsLandAtTheirOffsets) {
    SMCKeyData data;
    data.key = 0x01020304;
    data.protocolVersion.fill(0xAA);
    data.dataSize = 0x11121314;
    data.dataType = 0x21222324;
    data.dataAttributes = {0x31, 0x32, 0x33, 0x34};
    data.result = 0x41;
    data.status = 0x42;
    data.command = 0x43;
    data.padding = 0x44;
    data.data32 = 0x51525354;
    for (std::size_t index = 0; index < data.bytes.size(); ++index) {
        data.bytes[index] = static_cast<std::uint8_t>(0x80 + index);
    }
    const SMCKeyData::Bytes raw = data.toBytes();

    const std::array<std::uint8_t, 4> key{0x04, 0x03, 0x02, 0x01};
    const std::array<std::uint8_t, 4> dataSize{0x14, 0x13, 0x12, 0x11};
    const std::array<std::uint8_t, 4> dataType{0x24, 0x23, 0x22, 0x21};
    const std::array<std::uint8_t, 4> attributes{0x31, 0x32, 0x33, 0x34};
    const std::array<std::uint8_t, 4> data32{0x54, 0x53, 0x52, 0x51};
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(byteAt(raw, 0 + index), key[index]);
        EXPECT_EQ(byteAt(raw, 28 + index), dataSize[index]);
        EXPECT_EQ(byteAt(raw, 32 + index), dataType[index]);
        EXPECT_EQ(byteAt(raw, 36 + index), attributes[index]);
        EXPECT_EQ(byteAt(raw, 44 + index), data32[index]);
    }
    for (std::size_t offset = 4; offset < 28; ++offset) {
        EXPECT_EQ(byteAt(raw, offset), 0xAA) << "offset " << offset;
    }
    EXPECT_EQ(byteAt(raw, 40), 0x41);
    EXPECT_EQ(byteAt(raw, 41), 0x42);
    EXPECT_EQ(byteAt(raw, 42), 0x43);
    EXPECT_EQ(byteAt(raw, 43), 0x44);
    for (std::size_t index = 0; index < 32; ++index) {
        EXPECT_EQ(byteAt(raw, 48 + index), 0x80 + index) << "offset " << 48 + index;
    }
}

TEST(SMCKeyDataTests, FromBytesReadsTheKeyInfoOfAReply) {
    SMCKeyData::Bytes raw{};
    raw[28] = std::byte{0x04};
    raw[32] = std::byte{0x20};
    raw[33] = std::byte{0x74};
    raw[34] = std::byte{0x6C};
    raw[35] = std::byte{0x66};
    raw[40] = std::byte{0x84};
    raw[79] = std::byte{0x7F};
    const SMCKeyData reply = SMCKeyData::fromBytes(raw);
    EXPECT_EQ(reply.dataSize, 4u);
    EXPECT_EQ(reply.dataType, fourCharCode("flt "));
    EXPECT_EQ(reply.result, 0x84);
    EXPECT_EQ(reply.bytes[31], 0x7F);
    EXPECT_EQ(reply.toBytes(), raw);
}

TEST(SMCKeyDataTests, FloatValueDecodesTheFirstFourValueBytesLittleEndian) {
    SMCKeyData reply;
    // 45.0 is 0x42340000, 61.5 is 0x42760000.
    reply.bytes = {0x00, 0x00, 0x34, 0x42, 0x00, 0x00, 0x76, 0x42};
    EXPECT_EQ(reply.floatValue(), 45.0f);
    reply.bytes[2] = 0x76;
    EXPECT_EQ(reply.floatValue(), 61.5f);
}

}  // namespace
}  // namespace tallowbeck
