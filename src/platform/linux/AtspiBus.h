#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/linux/DBusClient.h"

namespace varnelle {

/// The bus of the user's session; null without one.
std::unique_ptr<DBusClient> connectToSessionBus(DBusClient::Deadline deadline);
/// Where the accessibility bus is, as the session says; starts it if need be. Absent without one.
std::optional<std::string> accessibilityBusAddress(DBusClient::Deadline deadline);

}  // namespace varnelle
