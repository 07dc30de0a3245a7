// Puts the page together.
const title = runs.length > 1 ? `Comparison of ${runs.length} runs` : runs[0].json.title || runs[0].label;
document.title = `${title} \u2013 IPTV test report`;
document.getElementById("title").textContent = title;
Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
Chart.defaults.locale = "en";

addVerdict();
if (data.comparison) addComparison();
addLatencies();
addObjects();
for (const run of runs) {
  if (run.tests.some((test) => test.json.sweep)) addSweep(run);
}
addConfiguration();
addMeasurement();
append(document.getElementById("footer"), [element("p", null, `Made by iptvtest ${data.version} from `,
  runs.map((run) => run.json.file).join(", "), ". Charts: Chart.js, MIT License.")]);
choose({});
drawCharts();
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawCharts);
window.addEventListener("beforeprint", prepareForPaper);
window.addEventListener("afterprint", endPaper);
