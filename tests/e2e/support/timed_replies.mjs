// A host that answers each discovery request so many milliseconds later: MS SERIAL, and so on.
import dgram from 'node:dgram';

const words = process.argv.slice(2);
const socket = dgram.createSocket('udp4');
socket.on('message', (message, from) => {
  if (message.toString() !== 'elvantris-server?') return;
  for (let at = 0; at + 1 < words.length; at += 2) {
    const reply = `elvantris-server!,5000,Late,${words[at + 1]}`;
    setTimeout(() => socket.send(reply, from.port, from.address), Number(words[at]));
  }
});
socket.bind(1255, () => console.log('ready'));
setTimeout(() => process.exit(0), 120000);
