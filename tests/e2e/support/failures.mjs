// A reporter that is silent while all is well: failures with their reason, and the closing counts.
import { inspect } from 'node:util';

const counts = new Set(['tests', 'pass', 'fail', 'cancelled', 'skipped', 'todo']);

export default async function* failures(source) {
  for await (const { type, data } of source) {
    if (type === 'test:fail') {
      const { error, duration_ms: took } = data.details;
      yield `FAILED ${data.name} (${Math.round(took)} ms)\n`;
      yield `${inspect(error?.cause ?? error)}\n\n`;
    } else if (type === 'test:stderr' || type === 'test:stdout') {
      yield data.message;
    } else if (type === 'test:diagnostic' && counts.has(data.message.split(' ')[0])) {
      yield `# ${data.message}\n`;
    }
  }
}
