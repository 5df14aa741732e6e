#include "foundation/UUID.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace varnelle {
namespace {

/// The canonical form has a hyphen before these bytes.
bool hyphenBefore(std::size_t byteIndex) {
    return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

UUID UUID::random() {
    UUID uuid;
    if (getentropy(uuid.bytes_.data(), uuid.bytes_.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "The system's source of random numbers");
    }
    uuid.bytes_[6] = static_cast<std::uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40);
    uuid.bytes_[8] = static_cast<std::uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80);
    return uuid;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    UUID uuid;
    std::size_t at = 0;
    for (std::size_t i = 0; i < uuid.bytes_.size(); ++i) {
        if (hyphenBefore(i)) {
            if (at >= text.size() || text[at] != '-') return std::nullopt;
            ++at;
        }
        if (at + 1 >= text.size()) return std::nullopt;
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        uuid.bytes_[i] = static_cast<std::uint8_t>(high * 16 + low);
        at += 2;
    }
    if (at != text.size()) return std::nullopt;
    return uuid;
}

std::string UUID::string() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (hyphenBefore(i)) text += '-';
        text += digits[bytes_[i] >> 4];
        text += digits[bytes_[i] & 0x0F];
    }
    return text;
}

}  // namespace varnelle
