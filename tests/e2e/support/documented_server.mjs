// A media server that says exactly what docs/wire.md says, in the spelling of its only word. It
// tells at /requests what it was asked.
import dgram from 'node:dgram';
import http from 'node:http';

import { answers, message } from './wire_page.mjs';

const replies = answers(process.argv[2]);
const requests = [];

const socket = dgram.createSocket('udp4');
socket.on('message', (text, from) => {
  if (text.toString() === message('question')) {
    socket.send(message('answer'), from.port, from.address);
  }
});

const server = http.createServer((request, response) => {
  const chunks = [];
  request.on('data', (chunk) => chunks.push(chunk));
  request.on('end', () => {
    if (request.url === '/requests') {
      response.end(JSON.stringify({ requests }));
      return;
    }
    const body = Buffer.concat(chunks).toString();
    requests.push({ method: request.method, url: request.url, body });
    const reply = replies.get(request.url.split('?')[0]);
    // A length keeps Node from sending chunks, which not all calls may have.
    const text = request.method === 'POST' ? 'OK' : (reply ?? '');
    response.writeHead(request.method === 'POST' || reply ? 200 : 404, {
      'Content-Length': Buffer.byteLength(text),
    });
    response.end(text);
  });
});

socket.bind(1255, () => server.listen(5000, () => console.log('ready')));
setTimeout(() => process.exit(0), 300000);
