#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

namespace varnelle {

/// Owns a file descriptor; a negative one stands for none.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

private:
    int descriptor_;
};

// Whole transfers, which go on after short ones and interruptions. They return 0 or an errno.

[[nodiscard]] int writeWhole(int descriptor, std::string_view bytes);
/// Stops early at the end of the file; `count` becomes the number of bytes read.
[[nodiscard]] int readWhole(int descriptor, char* bytes, std::size_t& count);

}  // namespace varnelle
