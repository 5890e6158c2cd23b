// Waits end as soon as what they wait for has come, and never without an end.

// For a machine that is busy with other things as well. What comes sooner ends the wait at once.
export const patience_ms = 60000;

// Asks again after each pause until the answer satisfies, which it has to within `limit_ms`.
export async function until(what, ask, limit_ms = patience_ms, pause_ms = 5) {
  const end = Date.now() + limit_ms;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    if (Date.now() > end) throw new Error(`not within ${limit_ms / 1000} s: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, pause_ms));
  }
}

// For figures and moments that a busy machine can spoil. An attempt that came too late gives
// nothing, and is made again, so often and no more; a rule that it finds broken is thrown.
export async function in_time(what, attempt, most_tries = 5) {
  for (let tries = 0; tries < most_tries; tries += 1) {
    const outcome = await attempt();
    if (outcome) return outcome;
  }
  throw new Error(`too late ${most_tries} times: ${what}`);
}
