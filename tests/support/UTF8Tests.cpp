#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "TallowbeckCore/support/UTF8.hpp"

namespace tallowbeck {
namespace {

using namespace std::string_literals;
using UTF8::replacingInvalidSequences;

constexpr std::string_view replacement = "\xEF\xBF\xBD";

std::string replacements(int count) {
    std::string text;
    for (int index = 0; index < count; ++index) {
        text += replacement;
    }
    return text;
}

TEST(UTF8Tests, AZeroTerminatedTextEndsAtItsFirstZeroByte) {
    using namespace std::string_view_literals;
    EXPECT_EQ(UTF8::fromZeroTerminated("Mac15,3\0\0garbage"sv), "Mac15,3");
    EXPECT_EQ(UTF8::fromZeroTerminated("no zero byte"sv), "no zero byte");
    EXPECT_EQ(UTF8::fromZeroTerminated("\xff\0"sv), "\xef\xbf\xbd");
}

TEST(UTF8Tests, EmptyTextStaysEmpty) { EXPECT_EQ(replacingInvalidSequences(""), ""); }

TEST(UTF8Tests, ASCIIIsKeptIncludingZeroBytes) {
    EXPECT_EQ(replacingInvalidSequences("Apple M1 Pro"), "Apple M1 Pro");
    EXPECT_EQ(replacingInvalidSequences("a\0b\x7F"s), "a\0b\x7F"s);
}

TEST(UTF8Tests, WellFormedCharactersOfEveryLengthAreKept) {
    // U+0080, U+07FF, U+0800, U+D7FF, U+E000, U+FFFF, U+10000, U+10FFFF: the edges of each form
    // and of the surrogate gap.
    const std::string text =
        "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
        "\xF4\x8F\xBF\xBF";
    EXPECT_EQ(replacingInvalidSequences(text), text);
    EXPECT_EQ(replacingInvalidSequences("Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8C\xA1"),
              "Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8C\xA1");
}

TEST(UTF8Tests, ALoneContinuationByteBecomesOneReplacement) {
    EXPECT_EQ(replacingInvalidSequences("a\x80z"), "a"s + replacements(1) + "z");
    EXPECT_EQ(replacingInvalidSequences("\x80\xBF"), replacements(2));
}

TEST(UTF8Tests, BytesThatNeverStartASequenceBecomeOneReplacementEach) {
    for (const char* bytes : {"\xC0", "\xC1", "\xF5", "\xF8", "\xFE", "\xFF"}) {
        EXPECT_EQ(replacingInvalidSequences(bytes), replacements(1)) << bytes;
    }
}

TEST(UTF8Tests, OverlongFormsAreReplacedByteByByte) {
    // '/' written in two, three and four bytes: no prefix of them starts a well-formed sequence.
    EXPECT_EQ(replacingInvalidSequences("\xC0\xAF"), replacements(2));
    EXPECT_EQ(replacingInvalidSequences("\xE0\x80\xAF"), replacements(3));
    EXPECT_EQ(replacingInvalidSequences("\xF0\x80\x80\xAF"), replacements(4));
    EXPECT_EQ(replacingInvalidSequences("\xE0\x9F\xBF"), replacements(3));
    EXPECT_EQ(replacingInvalidSequences("\xF0\x8F\xBF\xBF"), replacements(4));
}

TEST(UTF8Tests, SurrogatesAreReplacedByteByByte) {
    EXPECT_EQ(replacingInvalidSequences("\xED\xA0\x80"), replacements(3));
    EXPECT_EQ(replacingInvalidSequences("\xED\xBF\xBF"), replacements(3));
}

TEST(UTF8Tests, ValuesAboveTheLastCodePointAreReplacedByteByByte) {
    EXPECT_EQ(replacingInvalidSequences("\xF4\x90\x80\x80"), replacements(4));
    EXPECT_EQ(replacingInvalidSequences("\xF7\xBF\xBF\xBF"), replacements(4));
    EXPECT_EQ(replacingInvalidSequences("\xF5\x80\x80\x80"), replacements(4));
    EXPECT_EQ(replacingInvalidSequences("\xF8\x88\x80\x80\x80"), replacements(5));
}

TEST(UTF8Tests, ATruncatedSequenceBecomesOneReplacement) {
    EXPECT_EQ(replacingInvalidSequences("\xE2\x82"), replacements(1));
    EXPECT_EQ(replacingInvalidSequences("\xF0\x9F\x8C"), replacements(1));
    EXPECT_EQ(replacingInvalidSequences("\xC3"), replacements(1));
    EXPECT_EQ(replacingInvalidSequences("ab\xF4\x8F"), "ab"s + replacements(1));
}

TEST(UTF8Tests, AnInterruptedSequenceLosesOnlyItsStart) {
    EXPECT_EQ(replacingInvalidSequences("\xE2\x82z"), replacements(1) + "z");
    EXPECT_EQ(replacingInvalidSequences("\xE2\xC3\xA9"), replacements(1) + "\xC3\xA9");
    EXPECT_EQ(replacingInvalidSequences("\xF0\x9F\x8C\xE2\x82\xAC"),
              replacements(1) + "\xE2\x82\xAC");
}

TEST(UTF8Tests, EachMaximalSubpartBecomesOneReplacement) {
    // The standard's worked example: a, a truncated four-byte sequence, a truncated three-byte
    // sequence, a lone lead byte, b, a lone continuation byte, c, two continuation bytes, d.
    EXPECT_EQ(replacingInvalidSequences("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"),
              "a"s + replacements(3) + "b" + replacements(1) + "c" + replacements(2) + "d");
}

TEST(UTF8Tests, ATooLongSequenceEndsInLoneContinuationBytes) {
    EXPECT_EQ(replacingInvalidSequences("\xC3\xA9\x80"), "\xC3\xA9" + replacements(1));
}

}  // namespace
}  // namespace tallowbeck
