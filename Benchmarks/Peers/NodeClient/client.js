// Sends what comes on standard input, 16 kHz mono 16-bit PCM, as messages of one buffer each.
//
//   recorder | node client.js ws://HOST:PORT/tandrel-stream?token=TOKEN
'use strict';

const WebSocket = require('ws');

const messageBytes = 682;
const socket = new WebSocket(process.argv[2], { perMessageDeflate: false });
let pending = Buffer.alloc(0);

function fail(what) {
  console.error(what);
  process.exit(1);
}

function send(bytes) {
  pending = pending.length > 0 ? Buffer.concat([pending, bytes]) : bytes;
  while (pending.length >= messageBytes) {
    socket.send(pending.subarray(0, messageBytes));
    pending = pending.subarray(messageBytes);
  }
}

function close() {
  process.stdin.removeAllListeners();
  process.stdin.destroy();
  socket.close(1000);
}

socket.on('open', () => {
  socket.ping();
  process.stdin.on('data', send);
  process.stdin.on('end', close);
});
socket.on('close', () => process.exit(0));
socket.on('error', (error) => fail(error.message));
process.on('SIGTERM', close);
