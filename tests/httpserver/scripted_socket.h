// A socket without a system behind it: hands out given bytes in given pieces, then the end of the stream.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "quorel/httpserver/socket.h"

namespace quorel::http {

class ScriptedSocket final : public Socket {
public:
    // `cut`: where one piece ends; `everyByte`: each byte is a piece of its own.
    explicit ScriptedSocket(std::string_view bytes, std::size_t cut = std::string_view::npos,
                            bool everyByte = false)
        : Socket(-1), rest_(bytes), cut_(std::min(cut, bytes.size())), everyByte_(everyByte) {}

    std::string_view rest() const { return rest_; }

protected:
    ssize_t receive(std::span<std::uint8_t> buffer, Receive how) override {
        const std::size_t piece = everyByte_ ? 1 : cut_ > 0 ? cut_ : rest_.size();
        const std::size_t got = std::min({buffer.size(), piece, rest_.size()});
        std::copy_n(rest_.begin(), got, buffer.begin());
        if (how == Receive::peek) return static_cast<ssize_t>(got);
        rest_.remove_prefix(got);
        cut_ -= std::min(cut_, got);
        return static_cast<ssize_t>(got);
    }
    ssize_t send(std::string_view head, std::string_view body) override {
        return static_cast<ssize_t>(head.size() + body.size());
    }

private:
    std::string_view rest_;
    std::size_t cut_;
    bool everyByte_;
};

}  // namespace quorel::http
