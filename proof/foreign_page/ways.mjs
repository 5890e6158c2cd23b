// The ways in which a web page may try to reach the two ports of the program. Each gives what the
// page got: the word of its success, or nothing. What it did to the program is seen there.
// Where a way makes no sense.
export const none = '-';
// No foreign one: it must go on whatever the browser's policy shuts out.
export const own_page = 'the operator’s own page, beside all this';

const api = 'http://127.0.0.1:5251';
const shell = 'http://127.0.0.1:5270';
const operate = `${api}/api/protection/operate`;
const disarm = '{"operation":"disarm"}';
const patience_ms = 5000;

// In the page: the text of an answer, empty where there is none or it may not be read.
async function text_of({ url, options }) {
  try {
    const answer = await fetch(url, { ...options, signal: AbortSignal.timeout(5000) });
    return await answer.text();
  } catch {
    return '';
  }
}

const reads = async (page, url, options, sign) => {
  const text = await page.evaluate(text_of, { url, options });
  return text.includes(sign) ? 'is read' : '';
};

function send_form({ action, text }) {
  const form = document.createElement('form');
  const field = document.createElement('input');
  const half = text.indexOf('}');
  // A form of plain text is sent as NAME=VALUE.
  Object.assign(field, { name: `${text.slice(0, half)},"x":"`, value: '"}' });
  Object.assign(form, { action, method: 'POST', enctype: 'text/plain' });
  form.append(field);
  document.body.append(form);
  form.submit();
}

async function frames(page) {
  await page.evaluate((url) => {
    const frame = document.createElement('iframe');
    frame.src = url;
    document.body.append(frame);
    return new Promise((resolve) => (frame.onload = resolve));
  }, shell);
  const inside = page.frames().find((frame) => frame.parentFrame());
  return (await inside.title()) === 'Elvantris Redundancy Control' ? 'is shown' : '';
}

const draws = (page) =>
  page.evaluate(
    (url) =>
      new Promise((resolve) => {
        const picture = document.createElement('img');
        picture.onload = () => resolve('is shown');
        picture.onerror = () => resolve('');
        picture.src = url;
      }),
    `${api}/api/status`,
  );

const opens_socket = (page) =>
  page.evaluate(
    (url) =>
      new Promise((resolve) => {
        const socket = new WebSocket(url);
        socket.onopen = () => resolve('is opened');
        socket.onerror = () => resolve('');
      }),
    operate.replace('http', 'ws'),
  );

async function navigates(page) {
  await page.evaluate((url) => {
    location.href = url;
  }, shell);
  await page.waitForURL(`${shell}/**`, { timeout: patience_ms }).catch(() => {});
  const title = await page.title();
  return title === 'Elvantris Redundancy Control' ? 'is opened' : '';
}

// The page's own name leads to this computer after a while. It asks as long as that may take.
async function rebinds(page, { rebind }) {
  await rebind();
  const until = Date.now() + 90_000;
  while (Date.now() < until) {
    const text = await page.evaluate(text_of, { url: '/api/status', options: {} });
    if (text.includes('"enabled"')) {
      return reads(page, '/api/protection/operate', { method: 'POST', body: disarm }, '"ok"');
    }
    await new Promise((resolve) => setTimeout(resolve, 1000));
  }
  return '';
}

const post = { method: 'POST', body: disarm };
const as_json = { ...post, headers: { 'Content-Type': 'application/json' } };

export const ways = [
  {
    what: 'reads the status',
    attempt: (page) => reads(page, `${api}/api/status`, {}, '"enabled"'),
  },
  { what: 'posts plain text', attempt: (page) => reads(page, operate, post, '"ok"') },
  {
    what: 'posts without asking for the answer (`no-cors`)',
    attempt: (page) => reads(page, operate, { ...post, mode: 'no-cors' }, '"ok"'),
  },
  {
    what: 'sends a form, which leaves the page',
    attempt: (page) => page.evaluate(send_form, { action: operate, text: disarm }).then(() => ''),
  },
  {
    what: 'sends a beacon',
    attempt: (page) =>
      page
        .evaluate(([url, text]) => navigator.sendBeacon(url, text), [operate, disarm])
        .then(() => ''),
  },
  {
    what: 'posts JSON, which needs a preflight',
    attempt: (page) => reads(page, operate, as_json, '"ok"'),
  },
  { what: 'reads the operator’s page', attempt: (page) => reads(page, shell, {}, '<title>') },
  { what: 'shows the operator’s page in a frame', attempt: frames },
  { what: 'shows the status as a picture', attempt: draws },
  { what: 'opens a WebSocket', attempt: opens_socket },
  { what: 'leads the browser to the operator’s page', attempt: navigates },
  { what: 'rebinds its own name to this computer', attempt: rebinds, needs_a_name: true },
];
