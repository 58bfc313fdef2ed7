#include <fmt/format.h>

#include "sandbox/ad_server.h"

namespace quorel::sandbox {

// The tags are this file's neighbour's own texts; what strangers may have written, the script shows as text.
std::string AdServer::page(const std::string& baseURL) {
    std::string rows;
    for (const Tag& tag : tags()) {
        rows +=
            fmt::format("<tr><td><a href=\"/ads/tag/{0}\"><code>/ads/tag/{0}</code></a></td><td>{1}</td></tr>\n",
                        tag.name, tag.about);
    }
    return fmt::format(R"(<!DOCTYPE html>
<html lang="en">
<head><meta charset="utf-8"><title>Quorel sandbox: ads</title>
<style>
body {{ font: 16px/1.5 system-ui, sans-serif; max-width: 60rem; margin: 3rem auto; padding: 0 1rem; color: #1c2333; }}
h1, h2 {{ font-weight: 600; }} h2 {{ margin-top: 2.5rem; }} a {{ color: #0d6a76; }}
table {{ border-collapse: collapse; width: 100%; }}
th, td {{ text-align: left; padding: .3rem .8rem .3rem 0; border-bottom: 1px solid #dde2ec; vertical-align: top; }}
code {{ font: 14px/1.5 ui-monospace, "DejaVu Sans Mono", monospace; }}
button {{ font: inherit; padding: .1rem .6rem; }} .bad {{ color: #b3261e; }}
</style></head>
<body>
<h1>Ad server</h1>
<p>The titles <code>ads</code>, <code>ads-schedule</code> and <code>ads-trouble</code> play them.
<a href="/">All titles</a></p>
<table><thead><tr><th>Tag at {0}</th><th>What it answers</th></tr></thead><tbody>
{1}</tbody></table>
<h2>Tracked</h2>
<p>What players told, newest first. <button id="forget">Forget it</button></p>
<table><thead><tr><th>Received (UTC)</th><th>Ad</th><th>Event</th><th>Error code</th></tr></thead><tbody id="events"></tbody>
</table>
<script>
async function show(options) {{
  const events = await (await fetch("/_control/ads", options)).json();
  document.getElementById("events").replaceChildren(...events.reverse().map(one => {{
    const row = document.createElement("tr");
    if (one.event === "error") row.className = "bad";
    const at = new Date(one.received * 1000).toISOString().slice(11, 23);
    for (const text of [at, one.ad, one.event, one.code ?? ""]) {{
      row.append(Object.assign(document.createElement("td"), {{ textContent: text }}));
    }}
    return row;
  }}));
}}
document.getElementById("forget").onclick = () => show({{ method: "DELETE" }});
show();
setInterval(show, 1000);
</script>
</body>
</html>
)",
                       baseURL, rows);
}

}  // namespace quorel::sandbox
