// The page of the chat, kept in the program so that it runs from anywhere.
#pragma once

#include <string_view>

inline constexpr std::string_view chatPage = R"html(<!doctype html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>Chat</title>
<link rel="icon" href="data:,">
<style>
  body { font: 16px sans-serif; max-width: 40em; margin: 2em auto; padding: 0 1em; }
  #lines { list-style: none; padding: 0; min-height: 10em; }
  #lines li { padding: .3em 0; border-bottom: 1px solid #ddd; overflow-wrap: anywhere; }
  form { display: flex; gap: .5em; }
  input { flex: 1; font: inherit; padding: .3em; }
  #state { color: #666; }
</style>
<h1>Chat</h1>
<p id="state" role="status">connecting</p>
<ul id="lines" aria-live="polite"></ul>
<form id="form"><input id="text" maxlength="1000" autocomplete="off" autofocus aria-label="Message"><button>Send</button></form>
<script>
  const byId = (id) => document.getElementById(id);
  const socket = new WebSocket(location.origin.replace(/^http/, 'ws') + '/chat');
  socket.onmessage = (event) => {
    const message = JSON.parse(event.data);
    byId('state').textContent = message.guests + (message.guests === 1 ? ' guest' : ' guests');
    if (message.what !== 'say') return;
    const line = document.createElement('li');
    line.textContent = message.text;
    byId('lines').append(line);
  };
  socket.onclose = (event) => { byId('state').textContent = event.wasClean ? 'the server has closed' : 'disconnected'; };
  byId('form').onsubmit = (event) => {
    event.preventDefault();
    if (byId('text').value && socket.readyState === WebSocket.OPEN) socket.send(byId('text').value);
    byId('text').value = '';
  };
</script>
</html>
)html";
