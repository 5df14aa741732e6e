#include "platform/linux/AtspiMessages.h"

#include <atspi/atspi-constants.h>

#include <array>

namespace varnelle {
namespace {

constexpr std::string_view kNullPath = "/org/a11y/atspi/null";

/// Reads (so).
std::optional<AtspiReference> readReference(DBusMessageIter& at) {
    if (dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_STRUCT) return std::nullopt;
    DBusMessageIter part;
    dbus_message_iter_recurse(&at, &part);
    const char* busName = nullptr;
    const char* path = nullptr;
    if (dbus_message_iter_get_arg_type(&part) != DBUS_TYPE_STRING) return std::nullopt;
    dbus_message_iter_get_basic(&part, &busName);
    dbus_message_iter_next(&part);
    if (dbus_message_iter_get_arg_type(&part) != DBUS_TYPE_OBJECT_PATH) return std::nullopt;
    dbus_message_iter_get_basic(&part, &path);
    AtspiReference reference{busName, path};
    // Calls to anything that isn't a name of the bus are a mistake of ours, to the library.
    if (reference.isNull() || dbus_validate_bus_name(busName, nullptr) == FALSE) return std::nullopt;
    return reference;
}

template <typename Number>
std::optional<Number> readSingle(DBusMessage* message, int type) {
    Number number{};
    if (message == nullptr ||
        dbus_message_get_args(message, nullptr, type, &number, DBUS_TYPE_INVALID) == FALSE)
        return std::nullopt;
    return number;
}

}  // namespace

const dbus_uint32_t kScreenCoordinates = ATSPI_COORD_TYPE_SCREEN;

bool AtspiReference::isNull() const {
    return path.empty() || path == kNullPath || busName.empty();
}

DBusMessageHandle question(const AtspiReference& object, const char* interface, const char* method) {
    return makeCall(object.busName.c_str(), object.path.c_str(), interface, method, DBUS_TYPE_INVALID);
}

DBusMessageHandle parentQuestion(const AtspiReference& object) {
    const char* interface = kAccessible;
    const char* property = "Parent";
    return makeCall(object.busName.c_str(), object.path.c_str(), DBUS_INTERFACE_PROPERTIES, "Get",
                    DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID);
}

DBusMessageHandle extentsQuestion(const AtspiReference& object) {
    return makeCall(object.busName.c_str(), object.path.c_str(), kComponent, "GetExtents", DBUS_TYPE_UINT32,
                    &kScreenCoordinates, DBUS_TYPE_INVALID);
}

std::optional<AtspiReference> readReference(DBusMessage* message) {
    DBusMessageIter at;
    if (message == nullptr || dbus_message_iter_init(message, &at) == FALSE) return std::nullopt;
    if (dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_VARIANT) return readReference(at);
    DBusMessageIter inner;
    dbus_message_iter_recurse(&at, &inner);
    return readReference(inner);
}

std::vector<AtspiReference> readReferences(DBusMessage* message) {
    std::vector<AtspiReference> references;
    DBusMessageIter at;
    if (message == nullptr || dbus_message_iter_init(message, &at) == FALSE ||
        dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_ARRAY)
        return references;
    DBusMessageIter item;
    for (dbus_message_iter_recurse(&at, &item); dbus_message_iter_get_arg_type(&item) != DBUS_TYPE_INVALID;
         dbus_message_iter_next(&item)) {
        if (auto reference = readReference(item)) references.push_back(*std::move(reference));
    }
    return references;
}

/// Reads four whole numbers, in a structure or one by one: a rectangle in pixels.
std::optional<CGRect> readExtents(DBusMessage* message, double pixelsPerPoint) {
    DBusMessageIter at;
    if (message == nullptr || dbus_message_iter_init(message, &at) == FALSE) return std::nullopt;
    DBusMessageIter part = at;
    if (dbus_message_iter_get_arg_type(&at) == DBUS_TYPE_STRUCT) dbus_message_iter_recurse(&at, &part);
    std::array<dbus_int32_t, 4> numbers{};
    for (dbus_int32_t& number : numbers) {
        if (dbus_message_iter_get_arg_type(&part) != DBUS_TYPE_INT32) return std::nullopt;
        dbus_message_iter_get_basic(&part, &number);
        dbus_message_iter_next(&part);
    }
    // What isn't shown has no area, or one below zero.
    if (numbers[2] <= 0 || numbers[3] <= 0) return std::nullopt;
    return CGRect{{numbers[0] / pixelsPerPoint, numbers[1] / pixelsPerPoint},
                  {numbers[2] / pixelsPerPoint, numbers[3] / pixelsPerPoint}};
}

AtspiStates readStates(DBusMessage* message) {
    DBusMessageIter at;
    if (message == nullptr || dbus_message_iter_init(message, &at) == FALSE ||
        dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_ARRAY ||
        dbus_message_iter_get_element_type(&at) != DBUS_TYPE_UINT32)
        return 0;
    DBusMessageIter item;
    dbus_message_iter_recurse(&at, &item);
    const dbus_uint32_t* words = nullptr;
    int count = 0;
    dbus_message_iter_get_fixed_array(&item, &words, &count);
    AtspiStates states = 0;
    if (count > 0) states = words[0];
    if (count > 1) states |= AtspiStates{words[1]} << 32U;
    return states;
}

std::optional<std::uint32_t> readUnsigned(DBusMessage* message) {
    return readSingle<dbus_uint32_t>(message, DBUS_TYPE_UINT32);
}

std::optional<std::int32_t> readSigned(DBusMessage* message) {
    return readSingle<dbus_int32_t>(message, DBUS_TYPE_INT32);
}

}  // namespace varnelle
