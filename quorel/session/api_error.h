// What goes wrong between this SDK and its backend. A value; any thread.
#pragma once

#include <exception>
#include <string>

#include "quorel/foundation/error.h"
#include "quorel/session/export.h"

namespace quorel {

// Transport errors (no connection, time-out) are not among them: they pass through as URLError.
class QUOREL_SESSION_API APIError : public Error {
public:
    enum class Code {
        requestError,        // another error, whose text is given; no operation of the client raises it
        unknownContent,      // an HTTP reply outside 200..299 other than 401
        decodeError,         // the body is not the model
        missingTokenError,   // Quorel::initialize() gave no token yet
        invalidURL,          // no operation of the client raises it
        authorizationError,  // status 401, or a reply that is not an HTTP reply
    };
    // For every case but requestError, which has its own maker.
    explicit APIError(Code code);
    static APIError requestError(std::exception_ptr underlying);

    Code code() const { return code_; }
    // The text that viewers of an `error` event get.
    const std::string& errorDescription() const noexcept { return localizedDescription(); }
    const std::exception_ptr& underlying() const { return underlying_; }  // null but for requestError

private:
    APIError(Code code, const std::string& description, std::exception_ptr underlying);

    Code code_;
    std::exception_ptr underlying_;
};

}  // namespace quorel
