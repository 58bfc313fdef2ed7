// Times general playlist parsers on one file: peers.mjs PLAYLIST. Prints milliseconds of processor time as JSON, the
// fastest of several rounds. They parse, and rewrite nothing.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';

const load = createRequire(join(process.cwd(), 'package.json'));
const text = readFileSync(process.argv[2], 'utf8');

function fastest(action) {
  let best = Infinity;
  for (let round = 0; round < 8; round++) {
    const start = process.cpuUsage();
    action();
    const used = process.cpuUsage(start);
    best = Math.min(best, (used.user + used.system) / 1000);
  }
  return best;
}

const { Parser } = load('m3u8-parser');
const HLS = load('hls-parser');
console.log(JSON.stringify({
  'm3u8-parser, parse alone (ms)': fastest(() => {
    const parser = new Parser();
    parser.push(text);
    parser.end();
    if (parser.manifest.segments.length < 1000) throw new Error('m3u8-parser lost segments');
  }),
  'hls-parser, parse alone (ms)': fastest(() => {
    if (HLS.parse(text).segments.length < 1000) throw new Error('hls-parser lost segments');
  }),
}));
