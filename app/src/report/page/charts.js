// Charts by Chart.js, each with a summary for screen readers and its values as a table.
const charts = new Set();
const MOST_VALUE_ROWS = 2000;

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}
function seriesColour(index) {
  return colour(`series-${index % 7 + 1}`);
}
// The library draws the lines of the legend without their dashes.
function labelsWithDashes(chart) {
  return Chart.defaults.plugins.legend.labels.generateLabels(chart).map((label) =>
    ({...label, lineDash: chart.data.datasets[label.datasetIndex].borderDash, lineWidth: 2}));
}

const DASHES = [[], [6, 3], [2, 2], [8, 3, 2, 3], [12, 4], [4, 6], [1, 4]];

// `make` returns {title, summary, empty, type, x, y, datasets, ticks, values: {titles, rows}}.
class ChartBox {
  constructor(make) {
    this.make = make;
    this.node = element("figure", {class: "chart"});
    charts.add(this);
  }

  draw() {
    if (this.chart) this.chart.destroy();
    this.chart = null;
    const wanted = this.make();
    this.node.replaceChildren(element("figcaption", null, wanted.title));
    if (wanted.empty) {
      this.node.append(element("p", {class: "note"}, wanted.empty));
      return;
    }
    const canvas = element("canvas", {role: "img", "aria-label": `${wanted.title}. ${wanted.summary}`});
    this.node.append(element("div", {class: "canvas"}, canvas), this.values(wanted));
    this.chart = new Chart(canvas, this.configuration(wanted));
  }

  configuration(wanted) {
    const scale = (axis) => Object.assign({
      title: {display: true, text: axis.title, color: colour("ink")},
      ticks: {color: colour("ink-soft"), ...axis.ticks},
      grid: {color: colour("grid")},
      border: {color: colour("grid")},
    }, axis.options);
    const datasets = wanted.datasets.map((set, i) => Object.assign({
      borderColor: seriesColour(i),
      backgroundColor: wanted.type === "bar" ? seriesColour(i) : "transparent",
      borderWidth: wanted.type === "bar" ? 0 : 2,
      borderDash: DASHES[i % DASHES.length],
      pointRadius: 0,
      pointHitRadius: 8,
    }, set));
    return {
      type: wanted.type || "line",
      data: {labels: wanted.labels, datasets},
      options: {
        animation: false,
        responsive: true,
        maintainAspectRatio: false,
        interaction: {mode: "nearest", axis: "x", intersect: false},
        scales: {x: scale(wanted.x), y: scale(wanted.y)},
        plugins: {
          legend: {display: datasets.length > 1, labels: {color: colour("ink"), usePointStyle: true,
            pointStyle: "line", pointStyleWidth: 36, generateLabels: labelsWithDashes}},
          tooltip: {callbacks: wanted.tooltip || {}},
        },
      },
    };
  }

  // Built when it is opened: a table per chart would make the page slow.
  values(wanted) {
    const details = element("details", {class: "values", ontoggle: () => {
      if (!details.open || details.childElementCount > 1) return;
      const rows = wanted.values.rows.slice(0, MOST_VALUE_ROWS);
      details.append(simpleTable(wanted.title, wanted.values.titles,
        rows.map((row) => row.map((cell) => typeof cell === "string" ? cell : numberOrMissing(cell))),
        wanted.values.titles.map((_, i) => i)));
      if (rows.length < wanted.values.rows.length) {
        details.append(element("p", {class: "note"}, `The first ${rows.length} of ${wanted.values.rows.length} rows.`));
      }
    }}, element("summary", null, "Values of this chart as a table"));
    return details;
  }
}

function drawCharts() {
  for (const chart of charts) chart.draw();
}

// On paper the colours are those for light, and a chart is as wide as the paper.
function prepareForPaper() {
  document.documentElement.classList.add("paper");
  for (const details of document.querySelectorAll("details:not(.values)")) {
    details.dataset.wasOpen = details.open;
    details.open = true;
  }
  drawCharts();
  for (const {chart} of charts) {
    if (chart) chart.resize(660, 260);
  }
}

function endPaper() {
  document.documentElement.classList.remove("paper");
  for (const details of document.querySelectorAll("details[data-was-open]")) {
    details.open = details.dataset.wasOpen === "true";
    delete details.dataset.wasOpen;
  }
  drawCharts();
}

const linear = (title) => ({title, options: {type: "linear"}});
const fromZero = (title) => ({title, options: {type: "linear", beginAtZero: true}});
