#pragma once

#include "foundation/Error.h"
#include "foundation/URL.h"

namespace varnelle {

/// A movie can't be read, written or encoded. The text is a sentence that names the file.
class MediaError : public Error {
public:
    enum class Code {
        cannotOpen,
        notAMovie,
        nothingRecorded,  ///< a movie without a single picture or sound
        cannotDecode,
        cannotEncode,
        cannotWrite,
        unsupportedSize,
        cancelled
    };

    MediaError(Code code, const std::string& message) : Error(message), code_(code) {}
    [[nodiscard]] Code code() const { return code_; }

private:
    Code code_;
};

}  // namespace varnelle
