// HTTP calls, and bytes as they come where a call must be unlike what a client would send.
import { once } from 'node:events';
import http from 'node:http';
import net from 'node:net';

import { patience_ms } from './waiting.mjs';

// Nobody is there, or nothing comes back.
export class NoAnswer extends Error {}

export function call_bytes(host, port, method, path, body, limit_ms = patience_ms) {
  return new Promise((resolve, reject) => {
    const no_answer = ({ message }) => reject(new NoAnswer(message));
    const request = http.request(
      { host, port, method, path, agent: false, headers: { Connection: 'close' } },
      (response) => {
        const chunks = [];
        response.on('data', (chunk) => chunks.push(chunk));
        response.on('error', no_answer);
        response.on('end', () =>
          resolve({
            status: response.statusCode,
            headers: response.headers,
            body: Buffer.concat(chunks),
          }),
        );
      },
    );
    request.on('error', no_answer);
    request.setTimeout(limit_ms, () => request.destroy(new Error(`no answer: ${method} ${path}`)));
    if (body === undefined) request.end();
    else {
      const text = typeof body === 'string' ? body : JSON.stringify(body);
      request.setHeader('Content-Length', Buffer.byteLength(text));
      request.end(text);
    }
  });
}

export async function call(...details) {
  const reply = await call_bytes(...details);
  return { ...reply, body: reply.body.toString() };
}

export async function call_json(...details) {
  const { status, body } = await call(...details);
  return { status, ...JSON.parse(body) };
}

// An open connection that is written to piece by piece.
export class Connection {
  static open(port, host = '127.0.0.1') {
    return new Promise((resolve, reject) => {
      const socket = net.connect({ host, port, noDelay: true }, () => {
        socket.off('error', reject);
        resolve(new Connection(socket));
      });
      socket.once('error', reject);
    });
  }

  constructor(socket) {
    this.socket = socket;
    this.received = '';
    socket.on('data', (chunk) => (this.received += chunk));
    socket.on('error', () => {});
    this.closed = new Promise((resolve) => socket.on('close', () => resolve(this.received)));
  }

  write(text) {
    return new Promise((resolve) => this.socket.write(text, resolve));
  }

  // No more will be written; what has been answered by the end.
  finish() {
    this.socket.end();
    return this.closed;
  }

  drop() {
    this.socket.destroy();
  }
}

// Writes all of it, and tells what came back until the other end closed.
export async function exchange(port, ...pieces) {
  const connection = await Connection.open(port);
  for (const piece of pieces) await connection.write(piece);
  return connection.closed;
}

// Something else that holds a port of the loopback interface, and notes when somebody comes.
export function occupy(port) {
  return new Promise((resolve, reject) => {
    const held = { visits: [], release: () => new Promise((done) => server.close(done)) };
    const server = net.createServer((socket) => {
      held.visits.push(Date.now());
      socket.destroy();
    });
    server.once('error', reject);
    server.listen(port, '127.0.0.1', () => resolve(held));
  });
}

// Another program, which answers whatever it is asked with the same.
export async function answer_with(port, status, body) {
  const server = http.createServer((request, response) => {
    response.writeHead(status, { Connection: 'close' }).end(body);
  });
  server.listen(port, '127.0.0.1');
  await once(server, 'listening');
  return { release: () => new Promise((done) => server.close(done)) };
}

// Runs `act` beside one that answers with 200.
export async function while_answered(port, text, act) {
  const other = await answer_with(port, 200, text);
  try {
    return await act();
  } finally {
    await other.release();
  }
}

// A status of the program's own kind, without what the tool needs of it.
export const unreadable_status = '{"configPath":"x","protection":{"heldOnBackup":false}}';

export function answers(port, host = '127.0.0.1') {
  return new Promise((resolve) => {
    const socket = net.connect({ host, port });
    const finish = (result) => {
      socket.destroy();
      resolve(result);
    };
    socket.on('connect', () => finish(true));
    socket.on('error', () => finish(false));
    // The connection is neither refused nor accepted, which still shows a listener.
    socket.setTimeout(5000, () => finish(true));
  });
}
