// The data of the page, and what it says about its numbers.
const data = JSON.parse(document.getElementById("data").textContent);

const FIGURES = ["join latency", "leave latency", "change latency", "gap latency", "overlap latency",
  "unicast join latency", "retransmission latency"];
const KINDS = {
  test: {one: "Test", many: "Test"},
  port: {one: "Port", many: "Ports"},
  profile: {one: "Viewing profile", many: "Viewing profiles"},
  range: {one: "Channel range", many: "Channel ranges"},
  block: {one: "STB block", many: "STB blocks"},
};
const STATISTICS = [["Min", "Least"], ["Mean", "Mean"], ["P50", "p50"], ["P90", "p90"], ["P95", "p95"],
  ["P99", "p99"], ["P999", "p99.9"], ["Max", "Greatest"]];
const PERCENTILES = STATISTICS.filter(([key]) => key.startsWith("P"));
const MISSING = "\u2013";

// A packed column (packed_column.h) as an array.
function unpack(column) {
  if (Array.isArray(column) || !column) return column || [];
  const rows = [];
  const base = DIGITS.length;
  for (let at = 0; at < column.s.length; at += column.w) {
    let index = 0;
    for (let i = 0; i < column.w; ++i) index = index * base + DIGITS.indexOf(column.s[at + i]);
    rows.push(column.v[index]);
  }
  return rows;
}
const DIGITS = Array.from({length: 92}, (_, i) => String.fromCharCode(35 + i))
  .filter((digit) => !"&<>\\".includes(digit)).join("");

function unpackTexts(texts) {
  if (Array.isArray(texts)) return texts;
  let before = "";
  return texts.front.map((text) => {
    before = before.slice(0, DIGITS.indexOf(text[0])) + text.slice(1);
    return before;
  });
}

function isNumber(value) {
  return typeof value === "number" && isFinite(value);
}

// A number with as many digits as it is accurate to; whole numbers are exact.
function formatNumber(value) {
  if (!isNumber(value)) return MISSING;
  if (Number.isInteger(value)) return value.toLocaleString("en");
  return value.toLocaleString("en", Math.abs(value) >= 1000 ? {maximumFractionDigits: 0} : {maximumSignificantDigits: 4});
}

function formatDifference(value) {
  if (!isNumber(value)) return MISSING;
  return (value > 0 ? "+" : value < 0 ? "\u2212" : "") + formatNumber(Math.abs(value));
}

// In percent of the first value.
function relativeDifference(a, b) {
  return isNumber(a) && isNumber(b) && a !== 0 ? (b - a) / a * 100 : null;
}

function capitalise(text) {
  return text.charAt(0).toUpperCase() + text.slice(1);
}

function countOf(count, noun) {
  return `${formatNumber(count)} ${noun}${count === 1 ? "" : "s"}`;
}

// Lower bound of a bucket of a histogram, in ms.
function lowerBound(bucket) {
  return 2 ** (Math.floor(bucket / 64) - 10) * (1 + bucket % 64 / 64);
}

// Columns are unpacked when they are first used.
class ObjectTable {
  constructor(json) {
    this.kind = json.kind;
    this.names = unpackTexts(json.names);
    // Least, mean and greatest values of large tables are not in the page.
    this.isLarge = this.names.length > 2000;
    this.json = json;
    this.cache = new Map();
  }

  column(group, name, statistic) {
    const key = `${group}/${name}/${statistic || ""}`;
    if (!this.cache.has(key)) {
      const found = this.json[group][name];
      const column = statistic ? found && found[statistic] : found;
      this.cache.set(key, column ? unpack(column) : null);
    }
    return this.cache.get(key);
  }

  count(name, row) {
    const column = this.column("counts", name);
    return column ? column[row] : null;
  }

  statistic(figure, statistic, row) {
    const column = this.column("figures", figure, statistic);
    return column ? column[row] : null;
  }

  hasFigure(figure) {
    return figure in this.json.figures;
  }
}

class Test {
  constructor(json, run) {
    this.json = json;
    this.run = run;
    this.tables = new Map(json.kinds.map((kind) => [kind.kind, new ObjectTable(kind)]));
    this.series = json.series.map((series) => {
      const columns = {kind: series.kind, name: series.name, merged: series.merged};
      for (const key of Object.keys(series)) {
        if (!(key in columns)) columns[key] = unpack(series[key]);
      }
      return columns;
    });
  }

  get outcome() {
    return this.json.outcome || {};
  }

  get whole() {
    return this.tables.get("test");
  }

  get figures() {
    return FIGURES.filter((figure) => [...this.tables.values()].some((table) => table.hasFigure(figure)));
  }

  get label() {
    const values = sweepLabel(this.json.sweep);
    return `${this.json.name || "Test"}${values ? `, ${values}` : ""} (data set ${this.json.data_set})`;
  }

  histogram(kind, row, figure) {
    const objects = this.json.histograms[kind] || {};
    return (objects[row] || {})[figure] || null;
  }

  failedPercent() {
    if (isNumber(this.outcome.failed_percent)) return this.outcome.failed_percent;
    const views = this.whole.count("views", 0);
    return views ? this.whole.count("failed", 0) / views * 100 : null;
  }
}

function sweepLabel(sweep) {
  if (!sweep || !sweep.values) return "";
  const values = Object.entries(sweep.values).map(([name, value]) => `${name}=${value}`);
  return values.join(", ") + (sweep.repetition ? `, repetition ${sweep.repetition}` : "");
}

const runs = data.runs.map((json) => {
  const run = {json, outcome: json.outcome || {}};
  run.tests = json.tests.map((test) => new Test(test, run));
  run.label = json.file.split("/").pop();
  return run;
});
// Two files of the same name are told apart by their folders.
for (const run of runs) {
  if (runs.filter((other) => other.label === run.label).length > 1) run.label = run.json.file;
}
