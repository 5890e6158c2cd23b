// A host that answers each discovery request for a minute, so that a round never falls silent.
import dgram from 'node:dgram';

const socket = dgram.createSocket('udp4');
socket.on('message', (message, from) => {
  if (message.toString() !== 'elvantris-server?') return;
  const reply = setInterval(
    () => socket.send('elvantris-server!,5000,Endless,SER-E', from.port, from.address),
    50,
  );
  setTimeout(() => clearInterval(reply), 60000);
});
socket.bind(1255, () => console.log('ready'));
setTimeout(() => process.exit(0), 120000);
