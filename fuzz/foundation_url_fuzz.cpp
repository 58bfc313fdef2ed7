// Any text: what parses, parses again to the same, takes apart and goes together to the same, and every operation
// gives a URL that parses without mending.
#include <cstdint>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/url.h"

using quorel::fatal;
using quorel::URL;
using quorel::URLComponents;

namespace {

void requireStrict(const URL& url) {
    const auto again = URL::parseStrict(url.absoluteString());
    if (!again || *again != url) fatal("an operation gave what does not parse: " + url.absoluteString());
}

void checkParts(const URL& url) {
    URLComponents parts(url);
    const auto together = parts.url();
    if (!together || URLComponents(*together) != parts)
        fatal("does not go together again: " + url.absoluteString());
    const auto items = parts.queryItems();
    parts.setQueryItems(items);
    if (parts.queryItems() != items || !parts.url()) fatal("query items do not survive: " + url.absoluteString());
    const std::string path = parts.path();
    parts.setPath(path);
    if (parts.path() != path) fatal("the path does not survive: " + url.absoluteString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto url = URL::parse(text);
    if (const auto strict = URL::parseStrict(text); strict && strict != url) fatal("parse changed what was good");
    (void)quorel::removingPercentEncoding(text);
    if (!url) return 0;
    requireStrict(*url);
    checkParts(*url);
    (void)url->pathExtension();
    requireStrict(url->appendingPathComponent(text));
    requireStrict(url->deletingLastPathComponent());
    requireStrict(url->deletingLastPathComponent().appendingPathComponent("x"));
    if (const auto resolved = URL::parse("http://h/a/b?c")->resolving(text)) requireStrict(*resolved);
    if (const auto resolved = url->resolving("../x?y")) requireStrict(*resolved);
    return 0;
}
