// Plain TCP and UDP to a host of the network, with all that a client library would hide: the bytes,
// when they came, and how the connection ended.
import dgram from 'node:dgram';
import net from 'node:net';

import { addresses } from '../driver/environment.mjs';
import { patience_ms } from '../driver/waiting.mjs';

// Connects, writes, and collects until the other end closes or `limit_ms` has passed since the
// request was written; `connect_ms` bounds what comes before. With `finish` it says that this was
// all.
export function exchange(
  host,
  port,
  request,
  limit_ms = patience_ms,
  { connect_ms = patience_ms, finish = false } = {},
) {
  return new Promise((resolve) => {
    const started = performance.now();
    const chunks = [];
    const pieces = [];
    const socket = net.connect({ host: addresses[host], port });
    const end = (ended) => {
      clearTimeout(timer);
      socket.destroy();
      const text = Buffer.concat(chunks).toString();
      resolve({ ended, pieces, took_ms: performance.now() - started, text });
    };
    const give_up_after = (ms) => setTimeout(() => end('timeout'), ms);
    let timer = give_up_after(connect_ms);
    socket.on('connect', () => {
      const written = () => {
        clearTimeout(timer);
        timer = give_up_after(limit_ms);
      };
      if (finish) socket.end(request, written);
      else socket.write(request, written);
    });
    socket.on('data', (chunk) => {
      chunks.push(chunk);
      pieces.push({ at_ms: performance.now() - started, size: chunk.length });
    });
    socket.on('end', () => end('end'));
    socket.on('error', (error) => end(error.code));
  });
}

// Writes, says that this was all, and waits for the other end's goodbye.
export const send = (host, port, bytes) =>
  exchange(host, port, bytes, patience_ms, { finish: true });

// Sends one datagram and collects replies until there are `count`, or `limit_ms` has passed.
export function datagram(host, port, bytes, count = 0, limit_ms = patience_ms) {
  return new Promise((resolve, reject) => {
    const replies = [];
    const socket = dgram.createSocket('udp4');
    const finish = () => {
      clearTimeout(timer);
      socket.close();
      resolve(replies);
    };
    const timer = setTimeout(finish, limit_ms);
    socket.on('error', reject);
    socket.on('message', (message, from) => {
      replies.push({ text: message.toString('latin1'), from: `${from.address}:${from.port}` });
      if (replies.length === count) finish();
    });
    socket.bind(0, () => {
      socket.setBroadcast(true);
      socket.send(bytes, port, addresses[host] ?? host, () => {
        if (count === 0) finish();
      });
    });
  });
}

export async function get(host, target, limit_ms, options) {
  const request = `GET ${target} HTTP/1.1\r\nHost: ${host}\r\nConnection: close\r\n\r\n`;
  const answer = await exchange(host, 5000, request, limit_ms, options);
  const end = answer.text.indexOf('\r\n\r\n');
  return {
    ...answer,
    status: Number(answer.text.split(' ', 2)[1] ?? 0),
    head: answer.text.slice(0, end + 4),
    body: end < 0 ? '' : answer.text.slice(end + 4),
  };
}

export const read = async (host, target) => JSON.parse((await get(host, target)).body);
