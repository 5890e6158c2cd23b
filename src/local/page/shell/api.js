const api = 'http://127.0.0.1:5251';

// An API that hangs must not leave an old picture looking like a live one.
const status_limit_ms = 5000;

async function get_status() {
  const response = await fetch(`${api}/api/status`, {
    cache: 'no-store',
    signal: AbortSignal.timeout(status_limit_ms),
  });
  if (!response.ok) throw new Error(`status ${response.status}`);
  return response.json();
}

// Plain text needs no preflight, to which the API has no answer.
async function post(path, body) {
  const response = await fetch(api + path, {
    method: 'POST',
    headers: { 'Content-Type': 'text/plain' },
    body: JSON.stringify(body),
  });
  const reply = (await response.json().catch(() => null)) ?? {};
  return { accepted: response.ok && reply.ok === true, reply };
}
