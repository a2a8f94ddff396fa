#include "TallowbeckCore/support/UTF8.hpp"

#include <cstdint>
#include <optional>

namespace tallowbeck::UTF8 {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

// The length of the well-formed sequences that start with a lead byte, and the range their
// second byte must lie in; every later byte is a continuation byte 80..BF. The narrowed second
// ranges leave out overlong forms (E0, F0), surrogates (ED) and values above U+10FFFF (F4).
struct SequenceShape {
    std::size_t length;
    std::uint8_t secondLowest;
    std::uint8_t secondHighest;
};

constexpr std::uint8_t continuationLowest = 0x80;
constexpr std::uint8_t continuationHighest = 0xBF;

std::optional<SequenceShape> shapeStartingWith(std::uint8_t lead) noexcept {
    if (lead <= 0x7F) {
        return SequenceShape{1, 0, 0};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return SequenceShape{2, continuationLowest, continuationHighest};
    }
    if (lead == 0xE0) {
        return SequenceShape{3, 0xA0, continuationHighest};
    }
    if (lead == 0xED) {
        return SequenceShape{3, continuationLowest, 0x9F};
    }
    if (lead >= 0xE1 && lead <= 0xEF) {
        return SequenceShape{3, continuationLowest, continuationHighest};
    }
    if (lead == 0xF0) {
        return SequenceShape{4, 0x90, continuationHighest};
    }
    if (lead >= 0xF1 && lead <= 0xF3) {
        return SequenceShape{4, continuationLowest, continuationHighest};
    }
    if (lead == 0xF4) {
        return SequenceShape{4, continuationLowest, 0x8F};
    }
    return std::nullopt;
}

std::uint8_t byteAt(std::string_view bytes, std::size_t index) noexcept {
    return static_cast<std::uint8_t>(bytes[index]);
}

bool fitsShape(const SequenceShape& shape, std::size_t index, std::uint8_t byte) noexcept {
    const bool second = index == 1;
    return byte >= (second ? shape.secondLowest : continuationLowest) &&
           byte <= (second ? shape.secondHighest : continuationHighest);
}

// The sequence at the start of `bytes`: how many bytes it takes, and whether they make one
// well-formed character or one maximal subpart of an ill-formed sequence.
struct Sequence {
    std::size_t length;
    bool wellFormed;
};

Sequence sequenceAtStart(std::string_view bytes) noexcept {
    const std::optional<SequenceShape> shape = shapeStartingWith(byteAt(bytes, 0));
    if (!shape) {
        return {.length = 1, .wellFormed = false};
    }
    std::size_t length = 1;
    while (length < shape->length && length < bytes.size() &&
           fitsShape(*shape, length, byteAt(bytes, length))) {
        ++length;
    }
    return {.length = length, .wellFormed = length == shape->length};
}

}  // namespace

std::string replacingInvalidSequences(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Sequence sequence = sequenceAtStart(bytes);
        text.append(sequence.wellFormed ? bytes.substr(0, sequence.length) : replacementCharacter);
        bytes.remove_prefix(sequence.length);
    }
    return text;
}

std::string fromZeroTerminated(std::string_view bytes) {
    return replacingInvalidSequences(bytes.substr(0, bytes.find('\0')));
}

}  // namespace tallowbeck::UTF8
