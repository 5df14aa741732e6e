#include "foundation/StagingName.h"

#include "foundation/UUID.h"

namespace varnelle {
namespace {

constexpr std::size_t kLongestName = 255;  // on any common file system
constexpr std::size_t kUUIDLength = 36;
constexpr std::size_t kLongestUncut = kLongestName - kUUIDLength - 2;  // besides the dot and the hyphen
constexpr std::size_t kLongestKeptExtension = 32;

bool isInsideCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// A name of at most `kLongestUncut` bytes that keeps the extension and whole characters.
std::string cut(const URL& url) {
    std::string name = url.lastPathComponent();
    if (name.size() <= kLongestUncut) return name;
    std::string ending = url.path().extension().string();
    if (ending.size() > kLongestKeptExtension) ending.clear();
    std::size_t length = kLongestUncut - ending.size();
    while (length > 1 && isInsideCharacter(name[length])) --length;
    return name.substr(0, length) + ending;
}

}  // namespace

URL stagingURL(const URL& destination) {
    return destination.parent().appending("." + cut(destination) + "-" + UUID::random().string());
}

std::optional<StagingName> parseStagingName(const URL& staging) {
    const std::string name = staging.lastPathComponent();
    constexpr std::size_t shortest = kUUIDLength + 3;  // the dot, one character, the hyphen
    if (name.size() < shortest || name.front() != '.' || name[name.size() - kUUIDLength - 1] != '-') {
        return std::nullopt;
    }
    const std::string tail = name.substr(name.size() - kUUIDLength);
    const auto uuid = UUID::parse(tail);
    if (!uuid || uuid->string() != tail) return std::nullopt;
    constexpr std::size_t longestCharacter = 4;
    return StagingName{staging.parent().appending(name.substr(1, name.size() - shortest + 1)),
                       name.size() > kLongestName - longestCharacter};
}

}  // namespace varnelle
