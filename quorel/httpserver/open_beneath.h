// Private to this room. Opens a file below a directory and nowhere else.
//
// Any thread.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string>

namespace quorel::http {

// Shared, because the function that writes it to a client is copied; closed with the last copy.
using OpenFile = std::shared_ptr<std::FILE>;

// A descriptor that is closed in any case.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
    Descriptor& operator=(Descriptor&&) = delete;

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release() {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        return descriptor;
    }

private:
    int descriptor_;
};

// `path` relative to `directory`; "" and "." are the directory itself. Fails (with no descriptor) for whatever
// cannot be read, and for every path that leaves the directory on its way: by "..", by being absolute, by a
// symbolic link. Never blocks on a pipe.
Descriptor openBeneath(const std::string& directory, const std::string& path);

// Takes over the descriptor of a regular file; null for anything else. Gives its size.
OpenFile readableFile(Descriptor descriptor, off_t& size);

}  // namespace quorel::http
