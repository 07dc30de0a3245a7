// Percentile curves and histograms.

// Points of a percentile curve: x is 1 / (1 - p), so that each further nine is as far away as the one before.
function percentileCurve(test, kind, row, figure) {
  const table = test.tables.get(kind);
  if (!table) return [];
  const [count, least, greatest] = ["Count", "Min", "Max"].map((key) => table.statistic(figure, key, row));
  if (!count) return [];
  const buckets = test.histogram(kind, row, figure);
  const points = isNumber(least) ? [{x: 1, y: least}] : [];
  if (buckets) {
    let below = 0;
    for (const [bucket, number] of buckets) {
      below += number;
      const middle = (lowerBound(bucket) + lowerBound(bucket + 1)) / 2;
      points.push({x: Math.min(count, 1 / Math.max(1 / count, 1 - below / count)),
        y: isNumber(greatest) ? Math.min(greatest, Math.max(least, middle)) : middle});
    }
    return points;
  }
  for (const [x, key] of [[2, "P50"], [10, "P90"], [20, "P95"], [100, "P99"], [1000, "P999"]]) {
    const y = table.statistic(figure, key, row);
    if (isNumber(y) && x <= count) points.push({x, y});
  }
  if (isNumber(greatest)) points.push({x: count, y: greatest});
  return points;
}

function percentOf(x) {
  const percent = 100 * (1 - 1 / x);
  return `${Number(percent.toPrecision(Math.max(2, Math.ceil(Math.log10(x)) + 1)))} %`;
}

const percentileAxis = {
  title: "Share of the values that are not greater (%)",
  ticks: {callback: (x) => [1, 2, 10, 100, 1e3, 1e4, 1e5, 1e6].includes(x) ? percentOf(x) : null, autoSkip: false, maxRotation: 0},
  options: {type: "logarithmic", min: 1, afterBuildTicks: (axis) => {
    axis.ticks = [1, 2, 10, 100, 1e3, 1e4, 1e5, 1e6].filter((x) => x <= axis.max).map((value) => ({value}));
  }},
};

// `curves` are {label, test, kind, row, figure}.
function percentileChart(title, curves) {
  const shown = curves.map((curve) => ({...curve, points: percentileCurve(curve.test, curve.kind, curve.row, curve.figure)}))
    .filter((curve) => curve.points.length > 0);
  if (shown.length === 0) return {title, empty: "No latency was measured."};
  const statistics = shown[0].test.tables.get(shown[0].kind).isLarge ? PERCENTILES : STATISTICS;
  const value = (curve, key) => curve.test.tables.get(curve.kind).statistic(curve.figure, key, curve.row);
  return {
    title,
    summary: shown.map((curve) => `${curve.label}: p50 ${formatNumber(value(curve, "P50"))} ms, p99 ` +
      `${formatNumber(value(curve, "P99"))} ms, p99.9 ${formatNumber(value(curve, "P999"))} ms`).join("; "),
    x: percentileAxis,
    y: linear("Latency (ms)"),
    datasets: shown.map((curve) => ({label: curve.label, data: curve.points})),
    tooltip: {
      title: (items) => items.length ? percentOf(items[0].parsed.x) : "",
      label: (item) => `${item.dataset.label}: ${formatNumber(item.parsed.y)} ms`,
    },
    values: {
      titles: ["Latency (ms)", "Values", ...statistics.map(([, text]) => text)],
      rows: shown.map((curve) => [curve.label, value(curve, "Count"),
        ...statistics.map(([key]) => value(curve, key))]),
    },
  };
}

const MOST_BARS = 60;
const LEAST_LINEAR_PART = 0.1;

// Bars as [from, to, count]. The buckets get twice as wide with each power of two, and bars of different widths would show
// steps that are not there: bars are as wide as each other, or, where few bars would hold nearly all values, their ratios
// are equal.
function histogramBars(buckets) {
  const first = buckets[0][0], last = buckets[buckets.length - 1][0];
  const lowest = lowerBound(first), highest = lowerBound(last + 1);
  const total = buckets.reduce((sum, [, count]) => sum + count, 0);
  const quantile = (share) => {
    let below = 0;
    return lowerBound(buckets.find(([, count]) => (below += count) >= share * total)[0]);
  };
  const isLinear = first === last || quantile(0.95) - quantile(0.05) >= LEAST_LINEAR_PART * (highest - lowest);
  let width = isLinear ? highest - lowerBound(last) : 1 / 8;
  const position = (ms) => Math.floor((isLinear ? ms : Math.log2(ms)) / width);
  const middle = (bucket) => (lowerBound(bucket) + lowerBound(bucket + 1)) / 2;
  while (position(middle(last)) - position(middle(first)) >= MOST_BARS) width *= 2;
  const start = position(middle(first));
  const bound = (bar) => isLinear ? (start + bar) * width : 2 ** ((start + bar) * width);
  const counts = [];
  for (const [bucket, count] of buckets) {
    const bar = position(middle(bucket)) - start;
    counts[bar] = (counts[bar] || 0) + count;
  }
  return Array.from(counts, (count, bar) => [bound(bar), bound(bar + 1), count || 0]);
}

function histogramChart(test, kind, row, figure, name) {
  const title = `Histogram: ${figure}, ${name}`;
  const buckets = test.histogram(kind, row, figure);
  const table = test.tables.get(kind);
  if (!buckets) {
    const measured = table && table.statistic(figure, "Count", row);
    return {title, empty: measured ? "The histogram of this object is not in the page: it holds those of the objects " +
      "that differ most from the test. The percentiles are in the table of its kind." : `No ${figure} was measured.`};
  }
  const rows = histogramBars(buckets);
  const most = rows.reduce((best, bar) => bar[2] > best[2] ? bar : best);
  return {
    title,
    summary: `Most values, ${formatNumber(most[2])} of ${formatNumber(rows.reduce((sum, bar) => sum + bar[2], 0))}, are ` +
      `from ${formatNumber(most[0])} to ${formatNumber(most[1])} ms`,
    type: "bar",
    labels: rows.map(([from]) => formatNumber(from)),
    x: {title: `${capitalise(figure)}, lower bound of a bar (ms)`, options: {type: "category", grid: {display: false}}},
    y: fromZero("Values"),
    datasets: [{label: "Values", data: rows.map((bar) => bar[2]), categoryPercentage: 1, barPercentage: 0.9}],
    tooltip: {title: (items) => {
      const [from, to] = rows[items[0].dataIndex];
      return `${formatNumber(from)} to ${formatNumber(to)} ms`;
    }},
    values: {titles: ["From (ms)", "To (ms)", "Values"], rows},
  };
}
