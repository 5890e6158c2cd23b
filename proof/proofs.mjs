// The proofs. A new one is a file and a row here, and a pair of marks with its name in a document:
// docs/reliability.md unless the row names another.
import { prove_damage } from './damage.mjs';
import { prove_foreign_page } from './foreign_page.mjs';
import { prove_fuzz } from './fuzz.mjs';
import { prove_kills } from './kills.mjs';
import { prove_power_loss } from './power_loss.mjs';

// `build` is the preset and the targets that `prove` starts. `prove` gets the moment at which it
// must end, and gives { passed, amount, outcome, bound, rows }: a row of the document's table has
// the same but for `passed`, and says `what` it counted. With `columns` of its own, each row is a
// list of cells.
export const proofs = [
  { name: 'damage', build: ['linux', 'proof_damage'], prove: prove_damage },
  { name: 'power_loss', build: ['linux', 'proof_crash'], prove: prove_power_loss },
  { name: 'kills', build: ['linux', 'proof_crash'], prove: prove_kills },
  { name: 'fuzz', build: ['fuzz'], prove: prove_fuzz },
  {
    name: 'foreign_page',
    document: 'SECURITY.md',
    build: ['linux', 'elvantris-redundancy-control'],
    prove: prove_foreign_page,
  },
];
