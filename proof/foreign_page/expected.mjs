// What SECURITY.md says of each way, by the place from which the page came: what it gets without the
// browser's policy, and with it where that differs.
import { none, own_page } from './ways.mjs';

const never = { lan: ['nothing'], neighbour: ['nothing'], internet: ['nothing'] };
const by_any_other_than_the_internet = (outcome) => ({
  lan: [outcome, 'nothing'],
  neighbour: [outcome],
  internet: ['nothing'],
});
const always = (outcome) => ({ lan: [outcome], neighbour: [outcome], internet: [outcome] });

export const expected = {
  'reads the status': by_any_other_than_the_internet('is read'),
  'posts plain text': by_any_other_than_the_internet('is read, acts'),
  'posts without asking for the answer (`no-cors`)': by_any_other_than_the_internet('acts'),
  'sends a form, which leaves the page': always('acts'),
  'sends a beacon': by_any_other_than_the_internet('acts'),
  'posts JSON, which needs a preflight': never,
  'reads the operator’s page': never,
  'shows the operator’s page in a frame': by_any_other_than_the_internet('is shown'),
  'shows the status as a picture': never,
  'opens a WebSocket': never,
  'leads the browser to the operator’s page': always('is opened'),
  'rebinds its own name to this computer': {
    lan: ['is read, acts', 'nothing'],
    neighbour: [none],
    internet: ['nothing'],
  },
  [own_page]: { lan: ['works'] },
};
