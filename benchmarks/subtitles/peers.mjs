// What packages of npm need for the same work, one figure per line of JSON, in wall time of the fastest of several
// rounds. usage: node peers.mjs film.srt large.srt large.csv
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { performance } from "node:perf_hooks";

const require = createRequire(process.cwd() + "/");
const [film, large, csv] = process.argv.slice(2).map((name) => readFileSync(name, "utf8"));

function load(name) {
    try {
        return require(name);
    } catch (error) {
        console.error(`Benchmark peer ${name}: skipped, ${error.code}`);
    }
}

function measure(task, who, text, work, rounds) {
    let best = Infinity;
    for (let i = 0; i < rounds; ++i) {
        const begin = performance.now();
        if (!work(text)) throw new Error(`${who} gives nothing`);
        best = Math.min(best, performance.now() - begin);
    }
    const value = Buffer.byteLength(text) / best / 1e3;
    console.log(JSON.stringify({ task, unit: "MB/s", who: `npm ${who}`, value }));
}

const converters = [];
const subtitle = load("subtitle");
if (subtitle) converters.push(["subtitle", (srt) => subtitle.stringifySync(subtitle.parseSync(srt), { format: "WebVTT" })]);
const subsrt = load("subsrt-ts");
if (subsrt) converters.push(["subsrt-ts", (srt) => (subsrt.convert ?? subsrt.default.convert)(srt, { from: "srt", to: "vtt", format: "vtt" })]);
for (const [who, work] of converters) {
    measure("SRT to WebVTT, a film", who, film, work, 100);
    measure("SRT to WebVTT, 200,000 cues", who, large, work, 3);
}

const fields = "fields of CSV, 200,000 rows";
const udsv = load("udsv");
if (udsv) {
    measure(fields, "udsv", csv, (text) => udsv.initParser(udsv.inferSchema(text)).stringArrs(text).length, 7);
}
const papaparse = load("papaparse");
if (papaparse) measure(fields, "papaparse", csv, (text) => papaparse.parse(text).data.length, 5);
