#include "model/FileNames.h"

#include <algorithm>
#include <array>

namespace varnelle {
namespace {

/// The characters of Unicode's property White_Space (PropList.txt of the Unicode Character Database).
constexpr std::array<std::string_view, 25> kBlanks{
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\xC2\x85", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006",   "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Takes a run of digits off the front of `text` and gives it without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    const auto* const end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

int compareNaturally(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            const std::string_view left = takeNumber(a);
            const std::string_view right = takeNumber(b);
            if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
            if (const int order = left.compare(right); order != 0) return order;
            continue;
        }
        const auto left = static_cast<unsigned char>(lowered(a.front()));
        const auto right = static_cast<unsigned char>(lowered(b.front()));
        if (left != right) return left < right ? -1 : 1;
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    if (a.empty() == b.empty()) return 0;
    return a.empty() ? -1 : 1;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    const auto startsText = [&text](std::string_view blank) { return text.starts_with(blank); };
    const auto endsText = [&text](std::string_view blank) { return text.ends_with(blank); };
    const auto* blank = kBlanks.begin();
    while ((blank = std::find_if(kBlanks.begin(), kBlanks.end(), startsText)) != kBlanks.end()) {
        text.remove_prefix(blank->size());
    }
    while ((blank = std::find_if(kBlanks.begin(), kBlanks.end(), endsText)) != kBlanks.end()) {
        text.remove_suffix(blank->size());
    }
    return text;
}

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), lowered);
    return text;
}

std::string sanitizedFileName(std::string_view name, std::string_view fallback) {
    std::string result(trimmed(name));
    static constexpr std::string_view refused = "/\\:?%*|\"<>";
    std::replace_if(
        result.begin(), result.end(), [](char c) { return refused.find(c) != std::string_view::npos; }, '-');
    result = trimmed(result);
    return result.empty() ? std::string(fallback) : result;
}

bool precedesNaturally(std::string_view a, std::string_view b) {
    const int order = compareNaturally(a, b);
    return order != 0 ? order < 0 : a < b;
}

}  // namespace varnelle
