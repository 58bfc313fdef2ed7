#include "quorel/httpserver/http_response.h"

#include <map>

#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/latin1.h"

namespace quorel::http {

namespace {

template <class... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

HttpContent contentOf(std::string_view bytes) {
    return {static_cast<std::int64_t>(bytes.size()),
            [bytes](HttpResponseBodyWriter& writer) { writer.write(bytes); }, true};
}

HttpContent contentOf(std::span<const std::uint8_t> bytes) {
    return {static_cast<std::int64_t>(bytes.size()),
            [bytes](HttpResponseBodyWriter& writer) { writer.write(bytes); }, true};
}

HttpContent contentOwning(std::string text) {
    const auto length = static_cast<std::int64_t>(text.size());
    return {length,
            [text = std::move(text)](HttpResponseBodyWriter& writer) { writer.write(std::string_view(text)); },
            true};
}

}  // namespace

SerializationError::SerializationError(Code code)
    : Error(code == Code::invalidObject ? "invalidObject" : "notSupported"), code_(code) {}

HttpResponseBody::HttpResponseBody(Kind kind, Payload payload, std::optional<std::string> contentType)
    : kind_(kind), payload_(std::move(payload)), contentType_(std::move(contentType)) {}

HttpResponseBody HttpResponseBody::json(JSONValue value) {
    return {Kind::json, std::move(value)};
}
HttpResponseBody HttpResponseBody::html(std::string text) {
    return {Kind::html, std::move(text)};
}
HttpResponseBody HttpResponseBody::html(SharedText text) {
    return {Kind::html, std::move(text)};
}
HttpResponseBody HttpResponseBody::htmlBody(std::string text) {
    return {Kind::htmlBody, std::move(text)};
}
HttpResponseBody HttpResponseBody::text(std::string text) {
    return {Kind::text, std::move(text)};
}
HttpResponseBody HttpResponseBody::text(SharedText text) {
    return {Kind::text, std::move(text)};
}
HttpResponseBody HttpResponseBody::data(std::vector<std::uint8_t> bytes, std::optional<std::string> contentType) {
    return {Kind::data, std::move(bytes), std::move(contentType)};
}
HttpResponseBody HttpResponseBody::data(SharedBytes bytes, std::optional<std::string> contentType) {
    return {Kind::data, std::move(bytes), std::move(contentType)};
}
HttpResponseBody HttpResponseBody::custom(std::any value, CustomFunction function) {
    return {Kind::custom, Custom{std::move(value), std::move(function)}};
}

std::string HttpResponseBody::serialised(const JSONValue& value) {
    if (!isValidJSONObject(value)) throw SerializationError(SerializationError::Code::invalidObject);
    return serializeJSON(value);
}

HttpContent HttpResponseBody::content() const {
    try {
        return std::visit(
            Overloaded{
                [this](const std::string& text) {
                    if (kind_ != Kind::htmlBody) return contentOf(text);
                    return contentOwning("<html><meta charset=\"UTF-8\"><body>" + text + "</body></html>");
                },
                [](const SharedText& text) { return contentOf(std::string_view(*text)); },
                [](const std::vector<std::uint8_t>& bytes) { return contentOf(bytes); },
                [](const SharedBytes& bytes) { return contentOf(std::span(*bytes)); },
                [](const JSONValue& value) { return contentOwning(serialised(value)); },
                [](const Custom& custom) { return contentOwning(custom.function(custom.value)); },
            },
            payload_);
    } catch (...) {
        return contentOwning("Serialisation error: " + localizedDescription(std::current_exception()));
    }
}

std::string_view HttpResponseBody::contentType() const {
    switch (kind_) {
        case Kind::json:
            return "application/json";
        case Kind::html:
            return "text/html";
        case Kind::data:
            return contentType_ ? std::string_view(*contentType_) : std::string_view();
        case Kind::htmlBody:
        case Kind::text:
        case Kind::custom:
            break;
    }
    return {};
}

HttpResponse::HttpResponse(Status status, Payload payload) : status_(status), payload_(std::move(payload)) {}

HttpResponse HttpResponse::switchProtocols(HttpHeaders headers, HttpSessionFunction session) {
    return HttpResponse({101, "Switching Protocols"}, Switch{std::move(headers), std::move(session)});
}
HttpResponse HttpResponse::ok(HttpResponseBody body) {
    return HttpResponse({200, "OK"}, std::move(body));
}
HttpResponse HttpResponse::created() {
    return HttpResponse({201, "Created"});
}
HttpResponse HttpResponse::accepted() {
    return HttpResponse({202, "Accepted"});
}
HttpResponse HttpResponse::movedPermanently(std::string url) {
    return HttpResponse({301, "Moved Permanently"}, Redirect{std::move(url)});
}
// 307 and not 302: the method of the request must survive. The phrase is the elder code's, on purpose.
HttpResponse HttpResponse::movedTemporarily(std::string url) {
    return HttpResponse({307, "Moved Temporarily"}, Redirect{std::move(url)});
}
HttpResponse HttpResponse::badRequest(std::optional<HttpResponseBody> body) {
    constexpr Status status{400, "Bad Request"};
    return body ? HttpResponse(status, std::move(*body)) : HttpResponse(status);
}
HttpResponse HttpResponse::unauthorized() {
    return HttpResponse({401, "Unauthorized"});
}
HttpResponse HttpResponse::forbidden() {
    return HttpResponse({403, "Forbidden"});
}
HttpResponse HttpResponse::notFound() {
    return HttpResponse({404, "Not Found"});
}
HttpResponse HttpResponse::notAcceptable() {
    return HttpResponse({406, "Not Acceptable"});
}
HttpResponse HttpResponse::tooManyRequests() {
    return HttpResponse({429, "Too Many Requests"});
}
HttpResponse HttpResponse::internalServerError() {
    return HttpResponse({500, "Internal Server Error"});
}
HttpResponse HttpResponse::raw(int statusCode, std::string reasonPhrase, std::optional<HttpHeaders> headers,
                               HttpBodyWriteFunction writer) {
    return HttpResponse({statusCode, {}},
                        Raw{std::move(reasonPhrase), std::move(headers), std::move(writer), false});
}
HttpResponse HttpResponse::rawFile(int statusCode, std::string reasonPhrase, HttpHeaders headers,
                                   std::shared_ptr<std::FILE> file) {
    auto writer = [file = std::move(file)](HttpResponseBodyWriter& out) { out.write(file.get()); };
    return HttpResponse({statusCode, {}},
                        Raw{std::move(reasonPhrase), std::move(headers), std::move(writer), true});
}

int HttpResponse::statusCode() const {
    return status_.code;
}

std::string_view HttpResponse::reasonPhrase() const {
    const Raw* raw = std::get_if<Raw>(&payload_);
    return raw != nullptr ? std::string_view(raw->reason) : status_.reason;
}

// Each name once: of a payload's headers, "Server" takes the place of ours.
template <class Function>
void HttpResponse::forEachHeader(Function function) const {
    // Never destroyed: a connection may answer while the process ends.
    static const std::string& server = *new std::string(std::string("QuorelHTTP ").append(HttpServer::VERSION));
    const HttpHeaders* given = nullptr;
    if (const auto* body = std::get_if<HttpResponseBody>(&payload_)) {
        // A bad request's body goes without a type, on purpose.
        if (status_.code == 200 && !body->contentType().empty()) function("Content-Type", body->contentType());
    } else if (const auto* redirect = std::get_if<Redirect>(&payload_)) {
        function("Location", std::string_view(redirect->url));
    } else if (const auto* change = std::get_if<Switch>(&payload_)) {
        given = &change->headers;
    } else if (const auto* raw = std::get_if<Raw>(&payload_); raw != nullptr && raw->headers) {
        given = &*raw->headers;
    }
    if (given == nullptr || !given->contains("Server")) function("Server", std::string_view(server));
    if (given == nullptr) return;
    for (const auto& [name, value] : *given) function(std::string_view(name), std::string_view(value));
}

HttpHeaders HttpResponse::headers() const {
    HttpHeaders headers;
    forEachHeader([&](std::string_view name, std::string_view value) { headers.emplace(name, value); });
    return headers;
}

void HttpResponse::appendHeaderLines(std::string& text) const {
    forEachHeader([&](std::string_view name, std::string_view value) {
        const std::size_t begin = text.size();
        text.append(name).append(": ").append(value);
        replaceLineEnds(text, begin);
        text.append("\r\n");
    });
}

HttpContent HttpResponse::content() const {
    if (const auto* body = std::get_if<HttpResponseBody>(&payload_)) return body->content();
    if (const auto* raw = std::get_if<Raw>(&payload_)) return {-1, raw->writer, raw->prompt};
    return {};
}

const HttpSessionFunction& HttpResponse::sessionFunction() const {
    static const HttpSessionFunction& none = *new HttpSessionFunction();
    const auto* payload = std::get_if<Switch>(&payload_);
    return payload != nullptr ? payload->session : none;
}

}  // namespace quorel::http
