// The npm package "ws"; found by NODE_PATH, which run.py sets.
const { WebSocketServer } = require('ws');
const server = new WebSocketServer({ host: '127.0.0.1', port: 0, perMessageDeflate: false }, () => {
    console.log(server.address().port);
});
server.on('connection', (socket) => socket.on('message', (data) => socket.send(data, { binary: true })));
process.stdin.on('end', () => process.exit(0)).resume();
