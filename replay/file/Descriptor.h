/// \file
/// An open file descriptor with an owner.
#pragma once

#include <unistd.h>
#include <utility>

namespace rksignal {

/// Closes what it owns; -1 is nothing.
class Descriptor {
  public:
    explicit Descriptor(int handle = -1) : handle(handle) {}
    ~Descriptor() {
        if (handle >= 0) {
            close(handle);
        }
    }
    Descriptor(Descriptor&& other) noexcept : handle(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }

    int get() const { return handle; }
    int release() { return std::exchange(handle, -1); }

  private:
    int handle;
};

} // namespace rksignal
