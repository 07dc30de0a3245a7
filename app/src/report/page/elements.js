// Elements of the page. Texts become text nodes, never mark-up.
function element(tag, attributes, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) {
    if (name.startsWith("on")) {
      made.addEventListener(name.slice(2), value);
    } else if (value === true) {
      made.setAttribute(name, "");
    } else if (value !== false && value !== null && value !== undefined) {
      made.setAttribute(name, value);
    }
  }
  append(made, children);
  return made;
}

function append(parent, children) {
  for (const child of children.flat(Infinity)) {
    if (child === null || child === undefined || child === false) continue;
    parent.append(child instanceof Node ? child : String(child));
  }
}

// What is not there, for eyes and for screen readers.
function missing(why) {
  const text = why || "not measured";
  return element("span", {class: "missing", title: text}, MISSING, element("span", {class: "unseen"}, ` ${text}`));
}

function numberOrMissing(value, why) {
  return isNumber(value) ? formatNumber(value) : missing(why);
}

function textOrMissing(value, why) {
  return value === null || value === undefined || value === "" ? missing(why || "not stored") : String(value);
}

// A section with its link in the navigation.
function addSection(id, title, ...children) {
  const heading = element("h2", {id: `${id}-heading`}, title);
  const section = element("section", {id, "aria-labelledby": `${id}-heading`}, heading, children);
  document.getElementById("main").append(section);
  document.getElementById("contents").append(element("li", null, element("a", {href: `#${id}`}, title)));
  return section;
}

// Pairs of a term and its description, which is a text, a node, or a list of them.
function definitions(pairs) {
  return element("dl", {class: "facts"}, pairs.map(([term, description]) => element("div", null,
    element("dt", null, term), element("dd", null, description))));
}

// A small table: cells are texts or nodes, numbers stand on the right. The first column names the row.
function simpleTable(caption, titles, rows, numeric) {
  const isNumeric = (column) => numeric.includes(column);
  const head = titles.map((title, i) => element("th", {scope: "col", class: isNumeric(i) && "number"}, title));
  const body = rows.map((cells) => element("tr", null, cells.map((cell, i) =>
    element(i === 0 ? "th" : "td", {scope: i === 0 && "row", class: isNumeric(i) && "number"}, cell))));
  return scrollable(caption, element("table", null, element("caption", null, caption),
    element("thead", null, element("tr", null, head)), element("tbody", null, body)));
}

// Wide tables scroll by themselves, also by keyboard.
function scrollable(name, table) {
  return element("div", {class: "scroll", role: "group", "aria-label": name, tabindex: "0"}, table);
}

let identifiers = 0;

// A labelled list to choose from. `options` are pairs of value and text.
function select(label, options, value, onChoose) {
  const id = `select-${++identifiers}`;
  const list = element("select", {id, onchange: () => onChoose(list.value)},
    options.map(([key, text]) => element("option", {value: key}, text)));
  list.value = value;
  return element("div", {class: "control"}, element("label", {for: id}, label), list);
}

const VERDICTS = {passed: ["\u2713", "good"], failed: ["\u2717", "bad"]};

// PASSED, FAILED, or why there is no verdict; by sign and text, not only by colour.
function verdict(text) {
  const words = text || "no verdict";
  const [sign, kind] = VERDICTS[words.toLowerCase()] || ["!", "open"];
  return element("span", {class: `verdict ${kind}`}, element("span", {"aria-hidden": "true"}, sign), " ",
    kind === "open" ? capitalise(words) : words.toUpperCase());
}
