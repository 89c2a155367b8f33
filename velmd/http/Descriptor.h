#pragma once

#include <unistd.h>
#include <utility>

namespace velm {

/// Owns a file descriptor, or none (-1), and closes it. A value that moves; one thread at a time.
class Descriptor {
public:
    explicit Descriptor(int number = -1) noexcept : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_number, other._number);
        return *this;
    }
    ~Descriptor() {
        if (_number >= 0) {
            ::close(_number);
        }
    }

    explicit operator bool() const noexcept { return _number >= 0; }
    int get() const noexcept { return _number; }
    int release() noexcept { return std::exchange(_number, -1); }

private:
    int _number;
};

}  // namespace velm
