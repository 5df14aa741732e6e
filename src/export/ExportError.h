#pragma once

#include "foundation/Error.h"

namespace varnelle {

/// An export that didn't end in a movie, for a reason that isn't a file's.
class ExportError : public Error {
public:
    enum class Code { sessionCreationFailed, unknown, cancelled };

    static ExportError unknown() { return {Code::unknown, "The export failed for an unknown reason."}; }
    static ExportError cancelled() { return {Code::cancelled, "The export was cancelled."}; }

    [[nodiscard]] Code code() const { return code_; }

private:
    ExportError(Code code, const std::string& message) : Error(message), code_(code) {}

    Code code_;
};

}  // namespace varnelle
