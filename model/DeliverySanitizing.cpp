#include "model/DeliverySanitizing.h"

#include "model/detail/ScalarBytes.h"
#include "model/detail/UnicodeText.h"

#include <cstddef>
#include <utility>

namespace orvane::DDPWriter {

namespace {

constexpr std::size_t kISRCLength = 12;
constexpr std::size_t kEAN13Length = 13;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

// Letters and numbers of every script count, as characters: a code typed with a letter from
// outside A-Z keeps its length and so is refused, rather than shrinking to a different code.
std::string sanitizedISRC(const std::optional<std::string>& text) {
    if (!text)
        return {};
    detail::CleanedText kept = detail::cleanedCode(*text, detail::KeepCharacters::lettersAndNumbers);
    return kept.characters == kISRCLength ? std::move(kept.text) : std::string{};
}

std::string sanitizedMCN(std::string_view text) {
    detail::CleanedText digits = detail::cleanedCode(text, detail::KeepCharacters::numbers);
    return digits.characters == kEAN13Length ? std::move(digits.text) : std::string{};
}

bool isValidEAN13(std::string_view text) {
    if (text.size() != kEAN13Length)
        return false;
    int sum = 0;
    for (std::size_t i = 0; i < kEAN13Length; ++i) {
        if (!isDigit(text[i]))
            return false;
        if (i < kEAN13Length - 1)
            sum += (text[i] - '0') * (i % 2 == 0 ? 1 : 3);
    }
    return text[kEAN13Length - 1] - '0' == (10 - sum % 10) % 10;
}

std::string latin1Bytes(std::string_view text) {
    return detail::scalarBytes(text, 0xFF);
}

} // namespace orvane::DDPWriter
