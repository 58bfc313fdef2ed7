// The error of URL loading.
#pragma once

#include <string_view>

#include "quorel/foundation/error.h"
#include "quorel/foundation/export.h"

namespace quorel {

// A load that gave no usable reply. HTTP statuses are not errors here; they are in the response.
class QUOREL_FOUNDATION_API URLError : public Error {
public:
    enum class Code {
        unknown,
        cancelled,
        badURL,          // no host, or one that cannot be one
        unsupportedURL,  // a scheme that nobody takes, also that of a redirect
        badRequest,      // a method or a header field that HTTP does not allow (RFC 9110 5.1, 5.5, 9.1)
        timedOut,
        cannotFindHost,
        cannotConnectToHost,
        networkConnectionLost,  // closed or reset before the reply was complete
        tooManyRedirects,
        badServerResponse,            // HTTP, but broken: endless header fields, a bad HTTP/2 frame
        secureConnectionFailed,       // TLS could not be negotiated, or the CA file cannot be read
        serverCertificateUntrusted,   // unknown issuer
        serverCertificateHasBadDate,  // expired or not yet valid
        serverCertificateWrongHost,
        dataLengthExceedsMaximum,  // the body is, or announces to be, larger than the configured limit
        cannotParseResponse,       // what came is not HTTP
    };
    // The text names the case in a sentence; `detail`, when given, follows it in brackets.
    explicit URLError(Code code, std::string_view detail = {});

    Code code() const { return code_; }

private:
    Code code_;
};

}  // namespace quorel
