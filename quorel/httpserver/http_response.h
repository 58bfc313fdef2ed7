// An HTTP answer: status, reason, headers and body, as a value with one case per kind.
//
//   return HttpResponse::ok(HttpResponseBody::json(JSONObject{{"title", "Film"}}));
//   return HttpResponse::movedTemporarily("/elsewhere");
//   return HttpResponse::raw(206, "Partial Content", {{"Content-Range", range}}, [=](HttpResponseBodyWriter& out)
//   {
//       out.write(bytes);
//   });
//
// Only answers of known length (ok, and badRequest with a body) can keep a connection alive; all others close it.
// Values; a value belongs to one thread at a time.
#pragma once

#include <any>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/json.h"
#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_request.h"

namespace quorel::http {

class Socket;

// Why a body has no text.
class QUOREL_HTTPSERVER_API SerializationError : public Error {
public:
    enum class Code {
        invalidObject,  // a JSON body that is neither array nor object, or holds a number that is not finite
        notSupported,
    };
    explicit SerializationError(Code code);

    Code code() const { return code_; }

private:
    Code code_;
};

// Where a body goes. Every operation writes all of it or throws SocketError.
class QUOREL_VISIBLE HttpResponseBodyWriter {
public:
    virtual ~HttpResponseBodyWriter() = default;

    virtual void write(std::FILE* file) = 0;  // from its position to its end
    virtual void write(std::span<const std::uint8_t> bytes) = 0;
    virtual void write(std::string_view bytes) = 0;
    void write(const std::vector<std::uint8_t>& bytes) { write(std::span<const std::uint8_t>(bytes)); }
};

using HttpBodyWriteFunction = std::function<void(HttpResponseBodyWriter&)>;
using HttpSessionFunction = std::function<void(const std::shared_ptr<Socket>&)>;

// A body as it goes out. The function refers to the value that gave it: call it while that lives and is unchanged.
struct QUOREL_VISIBLE HttpContent {
    std::int64_t length = -1;     // in bytes; -1 when unknown
    HttpBodyWriteFunction write;  // empty when there is nothing to write
    // Whether `write` waits for nothing but the peer, so that the head may be held to leave together with it.
    bool prompt = false;
};

// The shared forms spare a copy per answer: the same bytes may be in many answers at once.
class QUOREL_HTTPSERVER_API HttpResponseBody {
public:
    using SharedText = std::shared_ptr<const std::string>;
    using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;
    using CustomFunction = std::function<std::string(const std::any&)>;

    static HttpResponseBody json(JSONValue value);   // "application/json"
    static HttpResponseBody html(std::string text);  // "text/html"
    static HttpResponseBody html(SharedText text);
    static HttpResponseBody htmlBody(std::string text);  // wrapped in <html><meta charset="UTF-8"><body>
    static HttpResponseBody text(std::string text);      // no content type
    static HttpResponseBody text(SharedText text);
    // Bytes as they are, under this content type or none.
    static HttpResponseBody data(std::vector<std::uint8_t> bytes, std::optional<std::string> contentType = {});
    static HttpResponseBody data(SharedBytes bytes, std::optional<std::string> contentType = {});
    // The text that `function` makes of `value` when the answer is written.
    static HttpResponseBody custom(std::any value, CustomFunction function);

    // Never throws: where making the text fails, the body is "Serialisation error: " and the error's text.
    HttpContent content() const;
    // What an ok answer says in Content-Type; "" for nothing.
    std::string_view contentType() const;

private:
    enum class Kind { json, html, htmlBody, text, data, custom };
    struct Custom {
        std::any value;
        CustomFunction function;
    };
    using Payload =
        std::variant<std::string, SharedText, std::vector<std::uint8_t>, SharedBytes, JSONValue, Custom>;

    HttpResponseBody(Kind kind, Payload payload, std::optional<std::string> contentType = {});
    static std::string serialised(const JSONValue& value);

    Kind kind_;
    Payload payload_;
    std::optional<std::string> contentType_;
};

class QUOREL_HTTPSERVER_API HttpResponse {
public:
    // 101. After the head has gone out the session function has the socket for as long as it runs; then the
    // server closes it.
    static HttpResponse switchProtocols(HttpHeaders headers, HttpSessionFunction session);
    static HttpResponse ok(HttpResponseBody body);          // 200
    static HttpResponse created();                          // 201
    static HttpResponse accepted();                         // 202
    static HttpResponse movedPermanently(std::string url);  // 301, Location: url
    static HttpResponse movedTemporarily(std::string url);  // 307 "Moved Temporarily", by intent
    static HttpResponse badRequest(std::optional<HttpResponseBody> body = {});  // 400, never with a content type
    static HttpResponse unauthorized();                                         // 401
    static HttpResponse forbidden();                                            // 403
    static HttpResponse notFound();                                             // 404
    static HttpResponse notAcceptable();                                        // 406
    static HttpResponse tooManyRequests();                                      // 429
    static HttpResponse internalServerError();                                  // 500
    // Anything else. Its length counts as unknown, so the connection closes behind it, whatever the headers say.
    static HttpResponse raw(int statusCode, std::string reasonPhrase, std::optional<HttpHeaders> headers = {},
                            HttpBodyWriteFunction writer = {});
    // The same with a file for its body, from the file's position to its end; closed with the last copy.
    static HttpResponse rawFile(int statusCode, std::string reasonPhrase, HttpHeaders headers,
                                std::shared_ptr<std::FILE> file);

    int statusCode() const;  // RFC 9110 15
    std::string_view reasonPhrase() const;
    // "Server" and what the case adds: Content-Type, Location, the payload's headers. Content-Length and
    // Connection are the connection's business and are not among them.
    HttpHeaders headers() const;
    // The same as lines, each with its line end. CR, LF and NUL in a name or a value become blanks.
    void appendHeaderLines(std::string& text) const;
    HttpContent content() const;
    // Of switchProtocols; empty for all others.
    const HttpSessionFunction& sessionFunction() const;

private:
    struct Status {
        int code;
        std::string_view reason;
    };
    struct Redirect {
        std::string url;
    };
    struct Switch {
        HttpHeaders headers;
        HttpSessionFunction session;
    };
    struct Raw {
        std::string reason;
        std::optional<HttpHeaders> headers;
        HttpBodyWriteFunction writer;
        bool prompt;
    };
    using Payload = std::variant<std::monostate, HttpResponseBody, Redirect, Switch, Raw>;

    explicit HttpResponse(Status status, Payload payload = {});
    template <class Function>
    void forEachHeader(Function function) const;

    Status status_;
    Payload payload_;
};

}  // namespace quorel::http
