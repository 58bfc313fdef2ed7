#include <gtest/gtest.h>

#include "quorel/httpserver/http_request.h"

namespace quorel::http {
namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

HttpRequest requestWith(std::string contentType, std::string_view body) {
    HttpRequest request;
    if (!contentType.empty()) request.headers["content-type"] = std::move(contentType);
    request.body.assign(body.begin(), body.end());
    return request;
}

TEST(HttpForm, Urlencoded) {
    const std::string type = "application/x-www-form-urlencoded";
    const struct {
        std::string type;
        std::string_view body;
        Entries expected;
    } cases[] = {
        {type, "a=1&b=2", {{"a", "1"}, {"b", "2"}}},
        {" " + type + " ; charset=utf-8", "a=", {{"a", ""}}},
        {type, "a=1&b", {{"a", "1"}, {"", ""}}},
        {type, "a=1=2&=&&c=%zz&d=%41", {{"", ""}, {"", ""}, {"", ""}, {"", ""}, {"d", "A"}}},
        {type, "a+b=c%2Bd+e%20f", {{"a b", "c d e f"}}},
        {type, "n=%C3%A9&m=%FF", {{"n", "\xC3\xA9"}, {"", ""}}},
        {type, "", {{"", ""}}},
        {type, "a=\xFF", {}},
        {"text/plain", "a=1", {}},
        {"x; " + type, "a=1", {}},
        {"", "a=1", {}},
    };
    for (const auto& [contentType, body, expected] : cases)
        EXPECT_EQ(requestWith(contentType, body).parseUrlencodedForm(), expected) << contentType << " | " << body;
}

// Parts as "key: value, ... > name/fileName > body".
std::vector<std::string> dump(const HttpRequest& request) {
    std::vector<std::string> texts;
    for (const auto& part : request.parseMultiPartFormData()) {
        std::string text;
        for (const auto& [key, value] : part.headers) text += key + ": " + value + ", ";
        text += "> " + part.name().value_or("-") + "/" + part.fileName().value_or("-") + " > ";
        texts.push_back(text + std::string(part.body.begin(), part.body.end()));
    }
    return texts;
}

TEST(HttpForm, MultiPart) {
    const std::string type = "multipart/form-data; boundary=B";
    const struct {
        std::string type;
        std::string_view body;
        std::vector<std::string> expected;
    } cases[] = {
        {type,
         "--B\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n"
         "--B\r\nContent-Disposition: form-data; name=f; filename=\"x=y.txt\"\r\nContent-Type: text/plain\r\n\r\n"
         "l1\r\nl2\r\n\r\n--B--\r\n",
         {"content-disposition: form-data; name=\"a\", > a/- > 1",
          "content-disposition: form-data; name=f; filename=\"x=y.txt\", content-type: text/plain, > f/x=y.txt > "
          "l1\r\nl2\r\n"}},
        {type, "--B\nX: 1\n\nbody\n--B--", {"x: 1, > -/- > body"}},
        {type, "--B\n\nbody\r--B", {"> -/- > body\r"}},
        {type, "--B\nX: a:b\nY : 2\nnothing\n\nb--B", {"y : 2, > -/- > b"}},
        {type, "--B\nX: 1\n\xFF\n\nb--B", {"x: 1, > -/- > \nb"}},
        {type, "--B\n\na-b--B\n\n--B", {"> -/- > a-b", "> -/- > "}},
        // The byte that breaks a partial match is not looked at again.
        {type, "--B\n\na---B\n--B", {"> -/- > a---B"}},
        {type, "--B\nX: 1\n\ncut off", {}},
        {type, "--C\n\nb--B", {}},
        {type, "", {}},
        {type + "; boundary=C", "--C\n\nb--C", {"> -/- > b"}},
        {"multipart/form-data; boundary=\"B\"", "--B\n\nb--B", {}},
        {"multipart/form-data; boundary=\"B\"", "--\"B\"\n\nb--\"B\"", {"> -/- > b"}},
        {"multipart/form-data; boundary=B=C", "--B=C\n\nb--B=C", {}},
        {"multipart/form-data; boundary=", "--\n\nb--", {}},
        {"multipart/mixed; boundary=B", "--B\n\nb--B", {}},
    };
    for (const auto& [contentType, body, expected] : cases)
        EXPECT_EQ(dump(requestWith(contentType, body)), expected) << contentType << " | " << body;
}

}  // namespace
}  // namespace quorel::http
