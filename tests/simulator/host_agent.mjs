// Speaks plain TCP and UDP from inside a network namespace, for a test that runs outside.
// Each message from the parent is {id, act, ...}; the answer is {id, result} or {id, error}.
import dgram from 'node:dgram';
import net from 'node:net';

// Connects, writes, and collects until the other end closes or `limitMs` has passed since.
function exchange({ host, port, request, limitMs, connectMs, finish: say_end = false }) {
  return new Promise((resolve) => {
    const started = performance.now();
    const chunks = [];
    const pieces = [];
    const socket = net.connect({ host, port });
    const finish = (ended) => {
      clearTimeout(timer);
      socket.destroy();
      resolve({
        ended,
        pieces,
        tookMs: performance.now() - started,
        bytes: Buffer.concat(chunks).toString('base64'),
      });
    };
    const give_up_after = (ms) => setTimeout(() => finish('timeout'), ms);
    let timer = give_up_after(connectMs);
    socket.on('connect', () => {
      const written = () => {
        clearTimeout(timer);
        timer = give_up_after(limitMs);
      };
      const bytes = Buffer.from(request, 'base64');
      if (say_end) socket.end(bytes, written);
      else socket.write(bytes, written);
    });
    socket.on('data', (chunk) => {
      chunks.push(chunk);
      pieces.push({ atMs: performance.now() - started, size: chunk.length });
    });
    socket.on('end', () => finish('end'));
    socket.on('error', (error) => finish(error.code));
  });
}

// Sends one datagram and collects replies until there are `count`, or `limitMs` has passed.
function datagram({ host, port, bytes, count, limitMs }) {
  return new Promise((resolve, reject) => {
    const replies = [];
    const socket = dgram.createSocket('udp4');
    const finish = () => {
      clearTimeout(timer);
      socket.close();
      resolve(replies);
    };
    const timer = setTimeout(finish, limitMs);
    socket.on('error', reject);
    socket.on('message', (message, from) => {
      replies.push({ text: message.toString('latin1'), from: `${from.address}:${from.port}` });
      if (replies.length === count) finish();
    });
    socket.bind(0, () => {
      socket.setBroadcast(true);
      socket.send(Buffer.from(bytes, 'base64'), port, host, () => {
        if (count === 0) finish();
      });
    });
  });
}

const acts = { exchange, datagram };

process.on('message', async ({ id, act, ...details }) => {
  try {
    process.send({ id, result: await acts[act](details) });
  } catch (error) {
    process.send({ id, error: String(error) });
  }
});
process.on('disconnect', () => process.exit(0));
process.send({ ready: true });
