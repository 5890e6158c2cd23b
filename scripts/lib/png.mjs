// Just enough PNG for our drawings: reads and writes 8-bit RGBA without interlacing, which is what
// rsvg-convert writes. A picture is {width, height, pixels}, pixels being RGBA from the top left.
import zlib from 'node:zlib';

const signature = Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]);
const pixel_size = 4;
const rgba_form = Buffer.from([8, 6, 0, 0, 0]);

// What each filter type predicts from the bytes to the left, above, and above the left one.
const predictions = [
  () => 0,
  (left) => left,
  (left, above) => above,
  (left, above) => (left + above) >> 1,
  (left, above, corner) => {
    const guess = left + above - corner;
    const by_distance = [left, above, corner].map((value) => [Math.abs(guess - value), value]);
    return by_distance.reduce((best, next) => (next[0] < best[0] ? next : best))[1];
  },
];

function unfilter(filtered, width, height) {
  const stride = width * pixel_size;
  const pixels = Buffer.alloc(stride * height);
  for (let y = 0; y < height; y++) {
    const predict = predictions[filtered[y * (stride + 1)]];
    for (let x = 0; x < stride; x++) {
      const at = y * stride + x;
      const left = x >= pixel_size ? pixels[at - pixel_size] : 0;
      const above = y > 0 ? pixels[at - stride] : 0;
      const corner = x >= pixel_size && y > 0 ? pixels[at - stride - pixel_size] : 0;
      pixels[at] = filtered[y * (stride + 1) + 1 + x] + predict(left, above, corner);
    }
  }
  return pixels;
}

export function read_png(file) {
  if (!file.subarray(0, 8).equals(signature)) throw new Error('not a PNG file');
  const data = [];
  let width;
  let height;
  for (let at = 8; at < file.length; at += 12 + file.readUInt32BE(at)) {
    const type = file.toString('latin1', at + 4, at + 8);
    const content = file.subarray(at + 8, at + 8 + file.readUInt32BE(at));
    if (type === 'IDAT') data.push(content);
    if (type !== 'IHDR') continue;
    width = content.readUInt32BE(0);
    height = content.readUInt32BE(4);
    if (!content.subarray(8).equals(rgba_form)) throw new Error('not a plain 8-bit RGBA file');
  }
  const pixels = unfilter(zlib.inflateSync(Buffer.concat(data)), width, height);
  return { width, height, pixels };
}

const crc_table = Array.from({ length: 256 }, (_, index) => {
  let value = index;
  for (let bit = 0; bit < 8; bit++) value = value & 1 ? (value >>> 1) ^ 0xedb88320 : value >>> 1;
  return value;
});

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) crc = (crc >>> 8) ^ crc_table[(crc ^ byte) & 0xff];
  return ~crc >>> 0;
}

function chunk(type, content) {
  const bytes = Buffer.alloc(12 + content.length);
  bytes.writeUInt32BE(content.length, 0);
  bytes.write(type, 4, 'latin1');
  content.copy(bytes, 8);
  bytes.writeUInt32BE(crc32(bytes.subarray(4, 8 + content.length)), 8 + content.length);
  return bytes;
}

export function write_png({ width, height, pixels }) {
  const stride = width * pixel_size;
  const rows = Buffer.alloc((stride + 1) * height);
  for (let y = 0; y < height; y++)
    pixels.copy(rows, y * (stride + 1) + 1, y * stride, (y + 1) * stride);
  const header = Buffer.alloc(8);
  header.writeUInt32BE(width, 0);
  header.writeUInt32BE(height, 4);
  return Buffer.concat([
    signature,
    chunk('IHDR', Buffer.concat([header, rgba_form])),
    chunk('IDAT', zlib.deflateSync(rows, { level: 9 })),
    chunk('IEND', Buffer.alloc(0)),
  ]);
}
