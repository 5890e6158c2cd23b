// A stranger's machine: web pages on port 8000 of each of its addresses, and names that lead to it
// until it says that they lead to the browser's own computer. Started in the device's namespace.
//   stranger.mjs LAN-ADDRESS PUBLIC-ADDRESS
import dgram from 'node:dgram';
import http from 'node:http';

const [lan, internet] = process.argv.slice(2);
const loopback = '127.0.0.1';
const api_port = 5251;
let rebound = false;

const page = '<!doctype html><meta charset="utf-8"><title>A stranger</title><p>Hello.';
// Closed after each answer: a browser that comes again must ask for the name again.
const answer = (response) =>
  response.writeHead(200, { 'Content-Type': 'text/html', Connection: 'close' }).end(page);

// The page whose name is rebound has to come from the port that it is after.
const at_api_port = [lan, internet].map(() => http.createServer((_, response) => answer(response)));
const listen = (server, port, host) => new Promise((resolve) => server.listen(port, host, resolve));

async function take_up(name) {
  rebound = name === 'rebind';
  for (const [i, server] of at_api_port.entries()) {
    if (!rebound && !server.listening) await listen(server, api_port, [lan, internet][i]);
    if (rebound && server.listening) await new Promise((resolve) => server.close(resolve));
  }
}

const web = http.createServer(async (request, response) => {
  const word = request.url.slice(1);
  if (word === 'rebind' || word === 'bind') await take_up(word);
  answer(response);
});

const address_of = (name) => (rebound ? loopback : name.startsWith('lan') ? lan : internet);

// Only the address of a name, for no longer than this moment.
function reply_to(question) {
  const end = question.indexOf(0, 12) + 1;
  const name = question.subarray(13, end).toString('latin1');
  const is_address = question.readUInt16BE(end) === 1 && name.includes('stranger');
  const head = Buffer.from(question.subarray(0, end + 4));
  head.writeUInt16BE(0x8180, 2);
  head.writeUInt16BE(is_address ? 1 : 0, 6);
  head.fill(0, 8, 12);
  if (!is_address) return head;
  const record = Buffer.from([0xc0, 12, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4]);
  return Buffer.concat([head, record, Buffer.from(address_of(name).split('.').map(Number))]);
}

const names = dgram.createSocket('udp4');
names.on('message', (question, { address, port }) => names.send(reply_to(question), port, address));
await new Promise((resolve) => names.bind(53, lan, resolve));
await take_up('bind');
await listen(web, 8000, '0.0.0.0');
console.log('ready');
