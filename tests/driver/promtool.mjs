// What checks files and figures for Prometheus; scripts/setup fetches it.
import { fileURLToPath } from 'node:url';

export const promtool = fileURLToPath(new URL('../../build/prometheus/promtool', import.meta.url));
