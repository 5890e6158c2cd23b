const api_address = 'http://127.0.0.1:5251';

// An API that hangs must not leave an old picture looking like a live one. It answers one request
// after the other: a poll may have to wait for another page's save, which asks Main four times and
// takes seven seconds at worst. Behind a post of our own it waits for longer still.
const status_limit_ms = 10000;
const status_limit_behind_post_ms = 30000;
let posts_pending = 0;

// Only what the browser itself rejects has a message.
async function get_status() {
  const response = await fetch(`${api_address}/api/status`, {
    cache: 'no-store',
    signal: AbortSignal.timeout(posts_pending > 0 ? status_limit_behind_post_ms : status_limit_ms),
  });
  if (!response.ok) throw new Error();
  const status = await response.json();
  if (!(status instanceof Object) || Array.isArray(status)) throw new Error();
  return status;
}

// Plain text needs no preflight, to which the API has no answer.
async function post(path, body) {
  posts_pending += 1;
  try {
    const response = await fetch(api_address + path, {
      method: 'POST',
      headers: { 'Content-Type': 'text/plain' },
      body: JSON.stringify(body),
    });
    return { succeeded: response.ok, reply: (await response.json().catch(() => null)) ?? {} };
  } finally {
    posts_pending -= 1;
  }
}
