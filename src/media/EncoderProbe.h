#pragma once

#include <string>

namespace varnelle {

/// Encodes a few frames with one of the library's video encoders and says whether packets came out. A broken
/// driver may crash or hang the calling process, so only the helper program `encoder_probe` calls this.
[[nodiscard]] bool encoderWorks(const std::string& encoderName);

}  // namespace varnelle
