#pragma once

#include <string>
#include <vector>

namespace varnelle::detail {

/// Hardware HEVC encoders that have encoded a few frames on this machine, best first. Each is tried once for
/// the life of the process, in the helper program `encoder_probe` beside the running one and with a time
/// limit, so that a driver that hangs or crashes takes only the helper along. Empty without a device or
/// without the helper. Safe on any thread.
const std::vector<std::string>& provenHardwareEncoders();

}  // namespace varnelle::detail
