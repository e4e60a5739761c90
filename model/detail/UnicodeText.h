#pragma once
// Letters and numbers of any script in UTF-8 text, as identification codes are cleaned: what is
// neither is dropped, letters are upper-cased, and a combining mark stays with its character.
// Pure functions; any thread.

#include <cstddef>
#include <string>
#include <string_view>

namespace orvane::detail {

struct CleanedText {
    std::string text;           // UTF-8
    std::size_t characters = 0; // characters kept, a letter with its marks counting once
};

enum class KeepCharacters { lettersAndNumbers, numbers };

// Ill-formed bytes are neither letters nor numbers and are dropped.
CleanedText cleanedCode(std::string_view utf8, KeepCharacters keep);

} // namespace orvane::detail
