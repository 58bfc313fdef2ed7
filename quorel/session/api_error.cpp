#include "quorel/session/api_error.h"

#include <string>
#include <utility>

namespace quorel {
namespace {

const char* textOf(APIError::Code code) {
    switch (code) {
        case APIError::Code::requestError:
            break;
        case APIError::Code::unknownContent:
            return "Unknown content";
        case APIError::Code::decodeError:
            return "Decode error";
        case APIError::Code::missingTokenError:
            return "Missing token error";
        case APIError::Code::invalidURL:
            return "Invalid URL";
        case APIError::Code::authorizationError:
            return "Authorization error";
    }
    return "";
}

}  // namespace

APIError::APIError(Code code) : APIError(code, textOf(code), nullptr) {}

APIError::APIError(Code code, const std::string& description, std::exception_ptr underlying)
    : Error(description), code_(code), underlying_(std::move(underlying)) {}

APIError APIError::requestError(std::exception_ptr underlying) {
    const std::string description = quorel::localizedDescription(underlying);
    return APIError(Code::requestError, description, std::move(underlying));
}

}  // namespace quorel
