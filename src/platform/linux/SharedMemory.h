#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "foundation/Error.h"

namespace varnelle {

/// Anonymous memory that can be shared with another process by its file descriptor. Nothing of it outlives
/// the processes that map it, even if they are killed.
class SharedMemory {
public:
    /// Throws `Error` if there is not enough memory.
    explicit SharedMemory(std::size_t byteCount);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    [[nodiscard]] std::uint8_t* bytes() const { return bytes_; }
    [[nodiscard]] std::size_t byteCount() const { return byteCount_; }
    /// A new descriptor of the memory, owned by the caller. Throws `Error`.
    [[nodiscard]] int duplicateDescriptor() const;

private:
    std::size_t byteCount_;
    int descriptor_ = -1;
    std::uint8_t* bytes_ = nullptr;
};

}  // namespace varnelle
