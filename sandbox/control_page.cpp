#include "sandbox/control_page.h"

namespace quorel::sandbox {

namespace {

constexpr std::string_view page = R"(<!DOCTYPE html>
<html lang="en">
<head><meta charset="utf-8"><title>Quorel sandbox: live control</title>
<style>
body { font: 16px/1.5 system-ui, sans-serif; max-width: 72rem; margin: 3rem auto; padding: 0 1rem; color: #1c2333; }
h1, h2 { font-weight: 600; } h2 { margin-top: 2.5rem; } a { color: #0d6a76; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; padding: .45rem .8rem .45rem 0; border-bottom: 1px solid #dde2ec; vertical-align: top; }
button { font: inherit; padding: .1rem .6rem; margin: 0 .2rem .2rem 0; }
button.now { background: #0d6a76; color: white; border-color: #0d6a76; }
code { font: 14px/1.5 ui-monospace, "DejaVu Sans Mono", monospace; }
.bad { color: #b3261e; }
</style></head>
<body>
<h1>Live control</h1>
<p>What the backend says of each live title. A player looks when it loads a title; what is polled afterwards moves only
the countdown, which counts from the date on. <a href="/">All titles</a></p>
<table><thead><tr><th>Title</th><th>State</th><th>Date</th><th>CDN</th><th>Newest segment</th></tr></thead>
<tbody id="titles"></tbody></table>
<p id="trouble" class="bad"></p>
<h2>Pings</h2>
<p>The last ones at <code>/e</code>, newest first. <button id="forget">Forget them</button></p>
<table><thead><tr><th>Received</th><th>Session</th><th>Title</th><th>No.</th><th>Position</th><th>State</th><th>Verdict</th>
</tr></thead><tbody id="pings"></tbody></table>
<script>
const states = { startsSoon: "starts soon", onAir: "on air", paused: "paused", over: "over" };
const hosts = ["127.0.0.1", "localhost"];
function make(tag, text, more) { return Object.assign(document.createElement(tag), { textContent: text }, more); }
function row(cells) {
  const tr = document.createElement("tr");
  for (const cell of cells) { const td = document.createElement("td"); td.append(...[cell].flat()); tr.append(td); }
  return tr;
}
async function ask(path, options) {
  const reply = await fetch(path, options);
  const body = await reply.json();
  document.getElementById("trouble").textContent = reply.ok ? "" : body.error;
  return reply.ok ? body : null;
}
async function change(wanted) {
  await ask("/_control/live", { method: "POST", body: JSON.stringify(wanted) });
  show();
}
async function showTitles() {
  if (document.activeElement && document.activeElement.type === "datetime-local") return;
  const titles = await ask("/_control/live");
  if (!titles) return;
  document.getElementById("titles").replaceChildren(...titles.map(title => {
    const choose = (key, value, text, current) => make("button", text, {
      className: current ? "now" : "", onclick: () => change({ id: title.id, [key]: value }) });
    const date = new Date((title.eventDate - new Date().getTimezoneOffset() * 60) * 1000);
    const input = make("input", "", { type: "datetime-local", step: 1, value: date.toISOString().slice(0, 19) });
    input.onchange = () => { input.blur(); change({ id: title.id, eventDate: new Date(input.value).getTime() / 1000 }); };
    return row([make("code", title.id),
      Object.entries(states).map(([state, text]) => choose("state", state, text, state === title.state)),
      [input, choose("eventIn", 0, "now"), choose("eventIn", 60, "in a minute")],
      hosts.map(host => choose("cdn", host, host, host === title.cdn)), String(title.lastSegment ?? "")]);
  }));
}
async function showPings() {
  const pings = await ask("/_control/pings");
  if (!pings) return;
  document.getElementById("pings").replaceChildren(...pings.reverse().slice(0, 30).map(ping => {
    const data = ping.payload?.eventos?.[0]?.dados ?? {};
    const verdict = ping.problems.length ? ping.problems.join("; ") : "as it should be";
    return row([new Date(ping.received * 1000).toLocaleTimeString(), ping.ssid ?? "", String(data.video_nome ?? ""),
      String(data.sequencia ?? ""), String(data.current_time ?? ""),
      (data.player_pausado ? "paused" : "playing") + (data.fazendo_rebuffer ? ", waiting" : ""),
      make("span", verdict, { className: ping.problems.length ? "bad" : "" })]);
  }));
}
function show() { showTitles(); showPings(); }
document.getElementById("forget").onclick = () => ask("/_control/pings", { method: "DELETE" }).then(show);
show();
setInterval(show, 2000);
</script>
</body>
</html>
)";

}  // namespace

std::string_view controlPage() {
    return page;
}

}  // namespace quorel::sandbox
