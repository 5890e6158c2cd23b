// Pictures of the page as small as they can still be read, and how much two of them differ. The
// browser itself reads, scales and writes them.

const width = 480;
const shades = 16; // of each colour: more would only make the files larger
const visible_difference = 3 * shades;

// In the browser. Bytes come and go as base64.
async function shrink_in_page({ png, wanted, step }) {
  const picture = await createImageBitmap(
    await (await fetch(`data:image/png;base64,${png}`)).blob(),
  );
  const height = Math.round((picture.height * wanted) / picture.width);
  const canvas = Object.assign(document.createElement('canvas'), { width: wanted, height });
  const context = canvas.getContext('2d');
  context.imageSmoothingQuality = 'high';
  context.drawImage(picture, 0, 0, wanted, height);
  const pixels = context.getImageData(0, 0, wanted, height);
  pixels.data.forEach((value, at) => {
    pixels.data[at] = at % 4 === 3 ? 255 : Math.min(255, Math.round(value / step) * step);
  });
  context.putImageData(pixels, 0, 0);
  return canvas.toDataURL('image/png').split(',')[1];
}

async function compare_in_page({ pngs, limit }) {
  const [one, other] = await Promise.all(
    pngs.map(async (png) => {
      const picture = await createImageBitmap(
        await (await fetch(`data:image/png;base64,${png}`)).blob(),
      );
      const canvas = new OffscreenCanvas(picture.width, picture.height);
      canvas.getContext('2d').drawImage(picture, 0, 0);
      return canvas.getContext('2d').getImageData(0, 0, picture.width, picture.height);
    }),
  );
  if (one.width !== other.width || one.height !== other.height) return 1;
  let different = 0;
  for (let at = 0; at < one.data.length; at += 4) {
    const differs = [0, 1, 2].some(
      (channel) => Math.abs(one.data[at + channel] - other.data[at + channel]) > limit,
    );
    if (differs) different += 1;
  }
  return different / (one.width * one.height);
}

const base64 = (bytes) => bytes.toString('base64');

export async function shrink(page, screenshot) {
  const details = { png: base64(screenshot), wanted: width, step: shades };
  return Buffer.from(await page.evaluate(shrink_in_page, details), 'base64');
}

// The part of all pixels that look different.
export const difference = (page, one, other) =>
  page.evaluate(compare_in_page, { pngs: [one, other].map(base64), limit: visible_difference });
