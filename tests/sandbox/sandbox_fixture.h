// A sandbox on loopback and a plain client beside it.
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <string>

#include "quorel/foundation/url_session.h"
#include "sandbox/sandbox.h"

namespace quorel::sandbox {

class SandboxTest : public testing::Test {
protected:
    SandboxTest() { sandbox.start(); }

    std::string at(const std::string& path) const { return sandbox.baseURL() + path; }

    std::future<DataAndResponse> begin(const std::string& url, HTTPHeaders headers = {},
                                       const char* method = "GET",
                                       std::optional<std::string> body = std::nullopt) {
        URLRequest request(*URL::parse(url));
        request.httpMethod = method;
        request.headers = std::move(headers);
        request.httpBody = std::move(body);
        auto promise = std::make_shared<std::promise<DataAndResponse>>();
        session
            .dataTask(std::move(request),
                      [promise](UrlSession::Result result) {
                          if (const auto* error = std::get_if<std::exception_ptr>(&result))
                              promise->set_exception(*error);
                          else
                              promise->set_value(std::move(std::get<DataAndResponse>(result)));
                      })
            ->resume();
        return promise->get_future();
    }
    // Throws URLError.
    template <class... Arguments>
    DataAndResponse load(Arguments&&... arguments) {
        return begin(std::forward<Arguments>(arguments)...).get();
    }
    template <class... Arguments>
    URLError::Code failure(Arguments&&... arguments) {
        try {
            load(std::forward<Arguments>(arguments)...);
        } catch (const URLError& error) {
            return error.code();
        }
        ADD_FAILURE() << "the load did not fail";
        return URLError::Code::unknown;
    }

    static HTTPHeaders header(std::string_view name, std::string_view value) {
        HTTPHeaders headers;
        headers.set(name, value);
        return headers;
    }

    Sandbox sandbox;
    UrlSession session;
};

}  // namespace quorel::sandbox
