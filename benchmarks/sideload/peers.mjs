// Times general playlist parsers on one file: peers.mjs PLAYLIST TASK [--quick]. Processor time of each of several rounds,
// after some that warm up. They parse, and rewrite nothing.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';

const load = createRequire(join(process.cwd(), 'package.json'));
const text = readFileSync(process.argv[2], 'utf8');
const quick = process.argv[4] === '--quick';

function measure(who, action) {
  const values = [];
  for (let round = 0; round < (quick ? 3 : 6); round++) {
    const begin = process.cpuUsage();
    if (action() < 1000) throw new Error(`${who} lost segments`);
    const used = process.cpuUsage(begin);
    if (round > 1) values.push(Buffer.byteLength(text) / (used.user + used.system));
  }
  console.log(JSON.stringify({ task: process.argv[3], unit: 'MB/s', role: 'peer', who: `npm ${who}, parsing alone`, values }));
}

const { Parser } = load('m3u8-parser');
measure('m3u8-parser', () => {
  const parser = new Parser();
  parser.push(text);
  parser.end();
  return parser.manifest.segments.length;
});
const HLS = load('hls-parser');
measure('hls-parser', () => HLS.parse(text).segments.length);
