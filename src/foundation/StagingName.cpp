#include "foundation/StagingName.h"

#include "foundation/UUID.h"

namespace varnelle {

URL stagingURL(const URL& destination) {
    return destination.parent().appending("." + destination.lastPathComponent() + "-" +
                                          UUID::random().string());
}

std::optional<URL> destinationOfStaging(const URL& staging) {
    const std::string name = staging.lastPathComponent();
    constexpr std::size_t uuidLength = 36;
    constexpr std::size_t shortest = uuidLength + 3;  // the dot, one character, the hyphen
    if (name.size() < shortest || name.front() != '.' || name[name.size() - uuidLength - 1] != '-') {
        return std::nullopt;
    }
    const std::string tail = name.substr(name.size() - uuidLength);
    const auto uuid = UUID::parse(tail);
    if (!uuid || uuid->string() != tail) return std::nullopt;
    return staging.parent().appending(name.substr(1, name.size() - shortest + 1));
}

}  // namespace varnelle
