// Sizes and colours as the browser has computed them, and what the eye makes of those.
import assert from 'node:assert/strict';

// Colours as [red, green, blue] of 0 to 255. The ground is that of the first element from here to
// the root that has one.
export async function measure(page, selector) {
  const found = await page.$eval(selector, (element) => {
    const { color, fontSize, borderTopColor } = getComputedStyle(element);
    const grounds = [];
    for (let one = element; one; one = one.parentElement)
      grounds.push(getComputedStyle(one).backgroundColor);
    return { color, font_size: Number.parseFloat(fontSize), border: borderTopColor, grounds };
  });
  const numbers = (text) => text.match(/[\d.]+/g).map(Number);
  const ground = found.grounds.map(numbers).find(([, , , alpha = 1]) => alpha > 0);
  return {
    color: numbers(found.color),
    border: numbers(found.border),
    background: ground,
    font_size: found.font_size,
  };
}

function luminance(colour) {
  const [red, green, blue] = colour.map((value) => {
    const part = value / 255;
    return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

function contrast(one, other) {
  const [light, dark] = [luminance(one), luminance(other)].sort((a, b) => b - a);
  return (light + 0.05) / (dark + 0.05);
}

export const contrast_of_text = ({ color, background }) => contrast(color, background);
export const contrast_of_grounds = (one, other) => contrast(one.background, other.background);

function hue_of([red, green, blue]) {
  const most = Math.max(red, green, blue);
  const spread = most - Math.min(red, green, blue);
  if (spread < 48) return 'grey';
  if (most === green) return 'green';
  if (most === blue) return 'blue';
  return green - blue > spread / 3 ? 'amber' : 'red';
}

export const assert_colour = (colour, name, what) =>
  assert.equal(hue_of(colour), name, `${what ?? ''} rgb(${colour})`);
