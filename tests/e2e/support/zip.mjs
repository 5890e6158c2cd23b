// Reading a zip archive as a stranger would, by its directory; checksums are compared.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import zlib from 'node:zlib';

const crc_of_byte = (byte) => {
  for (let bit = 0; bit < 8; bit += 1) byte = byte & 1 ? (byte >>> 1) ^ 0xedb88320 : byte >>> 1;
  return byte >>> 0;
};
const crc_table = Array.from({ length: 256 }, (_, byte) => crc_of_byte(byte));
const crc_of = (bytes) =>
  (bytes.reduce((crc, byte) => crc_table[(crc ^ byte) & 255] ^ (crc >>> 8), 0xffffffff) ^
    0xffffffff) >>>
  0;

function entry_at(archive, place) {
  assert.equal(archive.toString('latin1', place, place + 4), 'PK\x01\x02');
  const [name_length, extra, comment] = [28, 30, 32].map((at) => archive.readUInt16LE(place + at));
  const name = archive.toString('utf8', place + 46, place + 46 + name_length);
  const local = archive.readUInt32LE(place + 42);
  const begin = local + 30 + archive.readUInt16LE(local + 26) + archive.readUInt16LE(local + 28);
  const packed = archive.subarray(begin, begin + archive.readUInt32LE(place + 20));
  const bytes = zlib.inflateRawSync(packed);
  assert.equal(crc_of(bytes), archive.readUInt32LE(place + 16), name);
  return { name, bytes, next: place + 46 + name_length + extra + comment };
}

// The texts of all entries by their names.
export function read_zip(file) {
  const archive = fs.readFileSync(file);
  const end = archive.lastIndexOf('PK\x05\x06', undefined, 'latin1');
  let place = archive.readUInt32LE(end + 16);
  const texts = {};
  for (let left = archive.readUInt16LE(end + 10); left > 0; left -= 1) {
    const { name, bytes, next } = entry_at(archive, place);
    texts[name] = bytes.toString();
    place = next;
  }
  return texts;
}
