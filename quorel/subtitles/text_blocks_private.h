// Where decoders put the texts of cues: blocks that many cues share. Private to this room.
//
//   TextBlocks blocks(content.size());
//   blocks.append(line);                                  // piece by piece, one text at a time
//   const std::string_view text = blocks.finish();
//   cues.push_back(SubtitlesCue::sharing(blocks.block(), {.text = text}));
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace quorel::detail {

class TextBlocks {
public:
    // `expected` is about how many bytes there will be; it only sizes small documents.
    explicit TextBlocks(std::size_t expected) : blockSize_(std::clamp<std::size_t>(expected, 64, 64 * 1024)) {}

    void append(std::string_view piece) {
        if (piece.empty()) return;
        if (static_cast<std::size_t>(end_ - at_) < piece.size()) grow(piece.size());
        std::memcpy(at_, piece.data(), piece.size());
        at_ += piece.size();
    }
    void append(char c) { append(std::string_view(&c, 1)); }

    // A part of the pending text, for cues that have several texts: they lie in one block.
    struct Part {
        std::size_t begin = 0;
        std::size_t length = 0;

        // `finished` is what finish() gave.
        std::string_view of(std::string_view finished) const { return finished.substr(begin, length); }
    };
    Part add(std::string_view text) {
        const std::size_t begin = pending().size();
        append(text);
        return {begin, text.size()};
    }

    // What has been appended to the text that is not finished yet.
    std::string_view pending() const { return {start_, static_cast<std::size_t>(at_ - start_)}; }

    // Ends the text. It lies in block(), as long as nothing is appended.
    std::string_view finish() {
        const std::string_view text = pending();
        start_ = at_;
        return text;
    }
    void drop() { at_ = start_; }
    const std::shared_ptr<char[]>& block() const { return block_; }

private:
    void grow(std::size_t more) {
        const std::string_view begun = pending();
        // Twice what is needed now, so that a long text is copied along a bounded number of times per byte.
        const std::size_t size = std::max(blockSize_, 2 * (begun.size() + more));
        auto block = std::make_shared_for_overwrite<char[]>(size);
        if (!begun.empty()) std::memcpy(block.get(), begun.data(), begun.size());
        at_ = block.get() + begun.size();
        start_ = block.get();
        end_ = start_ + size;
        block_ = std::move(block);
    }

    std::size_t blockSize_;
    std::shared_ptr<char[]> block_;
    char* start_ = nullptr;
    char* at_ = nullptr;
    char* end_ = nullptr;
};

}  // namespace quorel::detail
