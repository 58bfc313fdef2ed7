// Text from one encoding into another, by the system's conversion library (iconv).
//
//   EncodingConverter converter("UTF-8", "WINDOWS-1252");
//   std::string text;
//   if (!converter.convert(bytes, text)) complain();
//
// For one thread at a time. The encodings of this SDK's texts (StringEncoding, TextEncoding) stand on it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/support/export.h"

namespace quorel {

class QUOREL_SUPPORT_API EncodingConverter {
public:
    // No longer name is one.
    static constexpr std::size_t longestName = 31;
    // The name in capitals. Absent unless the library converts from the encoding and to it, and for names that mean
    // something else in every process.
    static std::optional<std::string> knownName(std::string_view name);

    // By the names of iconv; isOpen() says whether it knows both.
    EncodingConverter(std::string_view to, std::string_view from);
    ~EncodingConverter();
    EncodingConverter(const EncodingConverter&) = delete;
    EncodingConverter& operator=(const EncodingConverter&) = delete;

    bool isOpen() const;  // both encodings are known

    // Appends to `output` what has become of the input. False where something in it means nothing, or does not exist
    // in the other encoding; the text in front of it has been converted then, and `consumed` is its length.
    bool convert(std::string_view input, std::string& output, std::size_t* consumed = nullptr);

private:
    std::string to_, from_;
    void* handle_;
};

}  // namespace quorel
