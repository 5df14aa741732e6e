#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Geometry.h"
#include "platform/linux/AtspiRoles.h"
#include "platform/linux/DBusClient.h"

namespace varnelle {

/// An object of a program's accessibility tree.
struct AtspiReference {
    std::string busName;
    std::string path;

    [[nodiscard]] bool isNull() const;
    auto operator<=>(const AtspiReference&) const = default;
};

// Questions to accessible objects, and what their answers hold. A message that is null or holds something
// else reads as absent, or as nothing.

inline constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
inline constexpr const char* kComponent = "org.a11y.atspi.Component";
inline constexpr const char* kText = "org.a11y.atspi.Text";
extern const dbus_uint32_t kScreenCoordinates;

DBusMessageHandle question(const AtspiReference& object, const char* interface, const char* method);
DBusMessageHandle parentQuestion(const AtspiReference& object);
DBusMessageHandle extentsQuestion(const AtspiReference& object);

std::optional<AtspiReference> readReference(DBusMessage* message);
std::vector<AtspiReference> readReferences(DBusMessage* message);
/// A rectangle with an area, in points.
std::optional<CGRect> readExtents(DBusMessage* message, double pixelsPerPoint);
AtspiStates readStates(DBusMessage* message);
std::optional<std::uint32_t> readUnsigned(DBusMessage* message);
std::optional<std::int32_t> readSigned(DBusMessage* message);

}  // namespace varnelle
