// Content types by file extension.
//
//   mimeType("poster.JPG")   // "image/jpeg"
//
// Any thread.
#pragma once

#include <string_view>

#include "quorel/foundation/url.h"
#include "quorel/httpserver/export.h"

namespace quorel::http {

// By the extension of the last path component, in any case. "application/octet-stream" for no extension and for
// one that is not in the table.
QUOREL_HTTPSERVER_API std::string_view mimeType(std::string_view path);
QUOREL_HTTPSERVER_API std::string_view mimeType(const URL& url);

}  // namespace quorel::http
