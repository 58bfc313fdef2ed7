// The base of every error that this SDK throws.
//
// One error type per room derives from it; what() is the text that a person may read. Cases are told apart by
// the derived type and its code, never by the text.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "quorel/foundation/export.h"

namespace quorel {

class QUOREL_VISIBLE Error : public std::exception {
public:
    explicit Error(std::string description) : description_(std::move(description)) {}

    const char* what() const noexcept override { return description_.c_str(); }
    const std::string& localizedDescription() const noexcept { return description_; }

private:
    std::string description_;
};

// The text of whatever was thrown: what() for exceptions, a fixed sentence for anything else.
inline std::string localizedDescription(const std::exception_ptr& error) {
    if (!error) return {};
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "The operation couldn't be completed.";
    }
}

}  // namespace quorel
