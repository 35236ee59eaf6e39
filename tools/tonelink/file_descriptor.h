// A file descriptor that belongs to an object.
#pragma once

#include <utility>

#include <unistd.h>

namespace tonelink::tool {

/// A file descriptor that is closed with it; negative is none.
class file_descriptor {
public:
    explicit file_descriptor(int number = -1) : number_{number} {}
    file_descriptor(file_descriptor &&other) noexcept : number_{other.release()} {}
    file_descriptor &operator=(file_descriptor &&other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~file_descriptor()
    {
        if (number_ >= 0) close(number_);
    }

    int get() const { return number_; }
    bool is_open() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

} // namespace tonelink::tool
