#pragma once

#include "foundation/Error.h"

namespace varnelle {

/// A recording can't start or didn't succeed.
class RecordingError : public Error {
public:
    enum class Code { writerFailed, startBarrierTimeout, notRecording };

    static RecordingError writerFailed(const std::string& message) { return {Code::writerFailed, message}; }
    static RecordingError startBarrierTimeout(const std::string& status) {
        return {Code::startBarrierTimeout, status};
    }
    static RecordingError notRecording() { return {Code::notRecording, "Nothing is being recorded."}; }

    [[nodiscard]] Code code() const { return code_; }

private:
    RecordingError(Code code, const std::string& message) : Error(message), code_(code) {}

    Code code_;
};

}  // namespace varnelle
