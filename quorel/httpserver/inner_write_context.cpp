#include "quorel/httpserver/inner_write_context.h"

namespace quorel::http {

void InnerWriteContext::write(std::FILE* file) {
    socket_.writeFile(std::exchange(head_, {}), file);
}

void InnerWriteContext::write(std::span<const std::uint8_t> bytes) {
    write(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void InnerWriteContext::write(std::string_view bytes) {
    // Copying so few bytes costs less than handing the kernel a second buffer.
    constexpr std::size_t smallBody = 1024;
    if (bytes.empty()) return;
    std::string head = std::exchange(head_, {});
    if (head.empty() || bytes.size() > smallBody) {
        socket_.writeParts(head, bytes);
    } else {
        socket_.writeUTF8(head.append(bytes));
    }
}

void InnerWriteContext::flush() {
    socket_.writeUTF8(std::exchange(head_, {}));
}

}  // namespace quorel::http
