// What packages of npm need for the same work, one figure per line of JSON: processor time of each of several rounds,
// after one that warms up. usage: node peers.mjs film.srt large.srt large.csv [--quick]
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";

const require = createRequire(process.cwd() + "/");
const quick = process.argv[5] === "--quick";
const [film, large, csv] = process.argv.slice(2, 5).map((name) => readFileSync(name, "utf8"));

function load(name) {
    try {
        return require(name);
    } catch (error) {
        console.error(`Benchmark peer ${name}: skipped, ${error.code}`);
    }
}

function measure(task, who, text, work, repeats) {
    const values = [];
    for (let round = 0; round < (quick ? 2 : 4); ++round) {
        const begin = process.cpuUsage();
        for (let i = 0; i < repeats; ++i) if (!work(text)) throw new Error(`${who} gives nothing`);
        const used = process.cpuUsage(begin);
        if (round > 0) values.push(Buffer.byteLength(text) * repeats / (used.user + used.system));
    }
    console.log(JSON.stringify({ task, unit: "MB/s", role: "peer", who: `npm ${who}`, values }));
}

const converters = [];
const subtitle = load("subtitle");
if (subtitle) converters.push(["subtitle", (srt) => subtitle.stringifySync(subtitle.parseSync(srt), { format: "WebVTT" })]);
const subsrt = load("subsrt-ts");
if (subsrt) converters.push(["subsrt-ts", (srt) => (subsrt.convert ?? subsrt.default.convert)(srt, { from: "srt", to: "vtt", format: "vtt" })]);
for (const [who, work] of converters) {
    measure("SRT to WebVTT, a film", who, film, work, quick ? 20 : 50);
    measure("SRT to WebVTT, 200,000 cues", who, large, work, 1);
}

const fields = "fields of CSV, 200,000 rows";
const udsv = load("udsv");
if (udsv) {
    measure(fields, "udsv", csv, (text) => udsv.initParser(udsv.inferSchema(text)).stringArrs(text).length, 1);
}
const papaparse = load("papaparse");
if (papaparse) measure(fields, "papaparse", csv, (text) => papaparse.parse(text).data.length, 1);
