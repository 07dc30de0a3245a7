// Charts of the time series.
const SERIES_TITLES = {
  Views: "Views", FailedJoins: "Failed joins", Lost: "Lost packets", JoinLatencyP50: "Join latency p50",
  JoinLatencyP99: "Join latency p99", JoinLatency: "Join latency mean", LeaveLatency: "Leave latency",
  ChangeLatency: "Change latency", GapLatency: "Gap latency", OverlapLatency: "Overlap latency",
  UnicastJoinLatency: "Unicast join latency", RetransmissionLatency: "Retransmission latency",
};
const SERIES_CHARTS = [
  {title: "Views and failed joins per interval", columns: ["Views", "FailedJoins"], unit: "Count"},
  {title: "Join latency by time", columns: ["JoinLatencyP50", "JoinLatencyP99", "JoinLatency"], unit: "ms"},
  {title: "Lost packets per interval", columns: ["Lost"], unit: "Packets"},
  {title: "Mean of the other latencies by time",
    columns: ["LeaveLatency", "ChangeLatency", "GapLatency", "OverlapLatency", "UnicastJoinLatency", "RetransmissionLatency"],
    unit: "ms"},
];

function extremes(column) {
  const numbers = column.filter(isNumber);
  return numbers.length ? `${formatNumber(Math.min(...numbers))} to ${formatNumber(Math.max(...numbers))}` : "no value";
}

// A value without neighbours, of which a line shows nothing.
function isAlone(column, index) {
  return !isNumber(column[index - 1]) && !isNumber(column[index + 1]);
}

function seriesChart({title, columns, unit}, series) {
  if (!series) return {title, empty: "There is no time series: the database has none for this object."};
  const shown = columns.filter((name) => series[name]);
  if (shown.length === 0) return {title, empty: "Nothing of this was measured."};
  return {
    title: `${title}, ${series.name}`,
    summary: shown.map((name) => `${SERIES_TITLES[name]}: ${extremes(series[name])}`).join("; "),
    x: linear("Time since the first join (s)"),
    y: unit === "ms" ? linear("ms") : fromZero(unit),
    datasets: shown.map((name) => ({
      label: SERIES_TITLES[name],
      data: series[name].map((y, i) => ({x: series.start[i], y})),
      pointRadius: (point) => isAlone(series[name], point.dataIndex) ? 2.5 : 0,
    })),
    tooltip: {title: (items) => {
      const i = items.length ? items[0].dataIndex : 0;
      return `${formatNumber(series.start[i])} to ${formatNumber(series.start[i] + series.duration[i])} s`;
    }},
    values: {
      titles: ["From (s)", ...shown.map((name) => SERIES_TITLES[name])],
      rows: series.start.map((start, i) => [start, ...shown.map((name) => series[name][i])]),
    },
  };
}
