#include "quorel/foundation/url_error.h"

#include <string>

namespace quorel {
namespace {

std::string described(URLError::Code code, std::string_view detail) {
    const auto sentence = [code]() -> const char* {
        using enum URLError::Code;
        switch (code) {
            case unknown:
                break;
            case cancelled:
                return "The load was cancelled.";
            case badURL:
                return "The URL cannot be loaded.";
            case unsupportedURL:
                return "URLs of this scheme are not supported.";
            case badRequest:
                return "The request has no form in HTTP.";
            case timedOut:
                return "The request timed out.";
            case cannotFindHost:
                return "A server with this host name could not be found.";
            case cannotConnectToHost:
                return "Could not connect to the server.";
            case networkConnectionLost:
                return "The connection to the server was lost.";
            case tooManyRedirects:
                return "The server redirected too many times.";
            case badServerResponse:
                return "The server gave a broken response.";
            case secureConnectionFailed:
                return "A secure connection to the server could not be made.";
            case serverCertificateUntrusted:
                return "The server's certificate is not from a trusted issuer.";
            case serverCertificateHasBadDate:
                return "The server's certificate has expired or is not yet valid.";
            case serverCertificateWrongHost:
                return "The server's certificate was issued for another host.";
            case dataLengthExceedsMaximum:
                return "The response is larger than allowed.";
            case cannotParseResponse:
                return "The server's response is not HTTP.";
        }
        return "The load failed.";
    };
    std::string text = sentence();
    if (!detail.empty()) text.append(" (").append(detail).append(")");
    return text;
}

}  // namespace

URLError::URLError(Code code, std::string_view detail) : Error(described(code, detail)), code_(code) {}

}  // namespace quorel
