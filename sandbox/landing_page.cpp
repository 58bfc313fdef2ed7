#include "sandbox/landing_page.h"

#include <string_view>

#include <fmt/format.h>

namespace quorel::sandbox {

namespace {

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

constexpr std::string_view style = R"(
body { font: 16px/1.5 system-ui, sans-serif; max-width: 60rem; margin: 3rem auto; padding: 0 1rem; color: #1c2333; }
h1 { font-weight: 600; } h2 { margin-top: 2.5rem; font-weight: 600; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; padding: .45rem .8rem .45rem 0; border-bottom: 1px solid #dde2ec; vertical-align: top; }
code, pre { font: 14px/1.5 ui-monospace, "DejaVu Sans Mono", monospace; background: #f2f4f9; border-radius: 4px; }
code { padding: .1rem .3rem; } pre { padding: .8rem 1rem; overflow-x: auto; }
a { color: #0d6a76; }
)";

}  // namespace

std::string landingPage(const std::vector<Title>& titles, const std::string& baseURL, const std::string& token) {
    std::string rows;
    for (const Title& title : titles) {
        const bool plays = title.state == Title::State::onDemand || title.state == Title::State::onAir;
        const std::string url = escaped(playbackURL(title, baseURL));
        rows += fmt::format("<tr id=\"{0}\"><td><code>{0}</code></td><td>{1}</td><td>{2}</td></tr>\n",
                            escaped(title.id), escaped(title.about),
                            plays ? fmt::format("<a href=\"{0}\">{0}</a>", url) : "none");
    }
    const std::string base = escaped(baseURL);
    const std::string curl = fmt::format("curl -H 'Authorization: Bearer {}' {}/v1", escaped(token), base);
    return fmt::format(R"(<!DOCTYPE html>
<html lang="en">
<head><meta charset="utf-8"><title>Quorel sandbox</title><style>{0}</style></head>
<body>
<h1>Quorel sandbox</h1>
<p>A backend for trying and testing players, on this machine only. Bearer token: <code>{1}</code></p>
<h2>Titles</h2>
<table>
<tr><th>Content id</th><th>What it is</th><th>Playback URL</th></tr>
{2}</table>
<p><a href="/control">Live control</a>: switch the live titles and watch the pings.
<a href="/ads">Ad server</a>: its tags, and what was tracked.</p>
<h2>Ask it</h2>
<pre>{3}/players/configuration/sample
{3}/videos/sample
{3}/live-streams/live
{3}/live-streams/live/status</pre>
<h2>Trouble on demand</h2>
<p>For one request by its query: <code>?delay=500</code> (ms), <code>?status=503</code>,
<code>?broken=json</code>, <code>?broken=cut</code>. For all that match a path:</p>
<pre>curl -d '{{"path":"/v1/videos/*","status":503,"times":2}}' {4}/_control/faults
curl -d '{{"path":"*.ts","delay":800}}' {4}/_control/faults
curl -X DELETE {4}/_control/faults
curl {4}/_control/requests</pre>
</body>
</html>
)",
                       style, escaped(token), rows, curl, base);
}

}  // namespace quorel::sandbox
