#pragma once

#include "foundation/Error.h"

namespace varnelle {

/// The desktop refused something or is gone. The text is a sentence that names the display or device.
class PlatformError : public Error {
public:
    enum class Code {
        displayUnavailable,  ///< no desktop to connect to
        displayLost,         ///< the desktop went away while it was in use
        unsupported,         ///< this desktop can't do what was asked
        requestFailed,       ///< the desktop answered with an error
    };

    PlatformError(Code code, const std::string& message) : Error(message), code_(code) {}
    [[nodiscard]] Code code() const { return code_; }

private:
    Code code_;
};

}  // namespace varnelle
