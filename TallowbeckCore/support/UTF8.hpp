#pragma once

#include <string>
#include <string_view>

namespace tallowbeck::UTF8 {

// `bytes` as well-formed UTF-8: well-formed characters are kept, and each maximal subpart of an
// ill-formed sequence (the longest start of a well-formed sequence that is there, or else one
// byte) becomes U+FFFD. Overlong forms, surrogates and values above U+10FFFF are ill-formed.
std::string replacingInvalidSequences(std::string_view bytes);

// A C string the system handed out in `bytes`: what comes before the first zero byte (all of it
// when there is none), as well-formed UTF-8.
std::string fromZeroTerminated(std::string_view bytes);

}  // namespace tallowbeck::UTF8
