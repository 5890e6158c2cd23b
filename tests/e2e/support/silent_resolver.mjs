// A name server that takes questions and answers none. Names each in its output.
import dgram from 'node:dgram';

const socket = dgram.createSocket('udp4');
socket.on('message', () => console.log('asked'));
socket.bind(53, () => console.log('ready'));
setTimeout(() => process.exit(0), 300000);
