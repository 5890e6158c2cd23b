// Pictures without losses.

// A picture as {width, height, at(x, y)}, the latter giving [red, green, blue].
export function read_bmp(bytes) {
  const offset = bytes.readUInt32LE(10);
  const width = bytes.readInt32LE(18);
  const height = bytes.readInt32LE(22);
  const stride = Math.ceil((width * 3) / 4) * 4;
  return {
    width,
    height,
    at(x, y) {
      const place = offset + (height - 1 - y) * stride + x * 3;
      return [bytes[place + 2], bytes[place + 1], bytes[place]];
    },
  };
}

export function make_bmp(width, height, at) {
  const stride = Math.ceil((width * 3) / 4) * 4;
  const bytes = Buffer.alloc(54 + stride * height);
  bytes.write('BM');
  bytes.writeUInt32LE(bytes.length, 2);
  bytes.writeUInt32LE(54, 10);
  bytes.writeUInt32LE(40, 14);
  bytes.writeInt32LE(width, 18);
  bytes.writeInt32LE(height, 22);
  bytes.writeUInt16LE(1, 26);
  bytes.writeUInt16LE(24, 28);
  bytes.writeUInt32LE(stride * height, 34);
  for (let y = 0; y < height; y += 1) {
    for (let x = 0; x < width; x += 1) {
      const [red, green, blue] = at(x, y);
      bytes.set([blue, green, red], 54 + (height - 1 - y) * stride + x * 3);
    }
  }
  return bytes;
}

// The largest difference of two pictures in any channel.
export function difference(one, other, step = 1) {
  if (one.width !== other.width || one.height !== other.height) return Infinity;
  let largest = 0;
  for (let y = 0; y < one.height; y += step) {
    for (let x = 0; x < one.width; x += step) {
      const [a, b] = [one.at(x, y), other.at(x, y)];
      a.forEach((value, i) => (largest = Math.max(largest, Math.abs(value - b[i]))));
    }
  }
  return largest;
}
