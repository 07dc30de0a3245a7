// Tables of many rows: sorted by buttons in the headers, filtered by name, and shown in pages.
const ROWS_PER_PAGE = 50;
const MOST_ROWS_WITHOUT_FILTER = 5;

class DataTable {
  // `columns` are {title, value(row), cell(row)}; the first one is the name. `rows` is their number.
  constructor({caption, noun, rows, columns}) {
    Object.assign(this, {caption, noun, rows, columns});
    this.sorted = {column: -1, direction: 1};
    this.page = 0;
    const id = `filter-${++identifiers}`;
    this.filter = element("input", {id, type: "search", autocomplete: "off", oninput: () => {
      this.page = 0;
      this.update();
    }});
    this.status = element("p", {class: "status", role: "status"});
    this.previous = element("button", {type: "button", onclick: () => this.turn(-1)}, "Previous page");
    this.next = element("button", {type: "button", onclick: () => this.turn(1)}, "Next page");
    this.head = element("thead");
    this.body = element("tbody");
    this.node = element("div", {class: "data-table"},
      element("div", {class: "controls", hidden: rows <= MOST_ROWS_WITHOUT_FILTER},
        element("div", {class: "control"}, element("label", {for: id}, `Filter ${noun} by name`), this.filter),
        this.status),
      scrollable(caption, element("table", null, element("caption", null, caption), this.head, this.body)),
      element("div", {class: "pager"}, this.previous, this.next));
    this.setColumns(columns);
  }

  setColumns(columns) {
    this.columns = columns;
    if (this.sorted.column >= columns.length) this.sorted = {column: -1, direction: 1};
    this.head.replaceChildren(element("tr", null, columns.map((column, i) => column.value ?
      element("th", {scope: "col", class: i > 0 && "number", "aria-sort": "none"},
        element("button", {type: "button", class: "sort", onclick: () => this.sort(i)}, column.title)) :
      element("td", {class: "buttons"}))));
    this.update();
  }

  turn(by) {
    this.page += by;
    this.update();
  }

  // Upwards first, then downwards; numbers downwards first: what is large is looked for.
  sort(column) {
    const first = column === 0 ? 1 : -1;
    this.sorted = {column, direction: this.sorted.column === column ? -this.sorted.direction : first};
    this.page = 0;
    this.update();
  }

  chosenRows() {
    const wanted = this.filter.value.trim().toLowerCase();
    const name = this.columns[0].value;
    const rows = [];
    for (let row = 0; row < this.rows; ++row) {
      if (!wanted || name(row).toLowerCase().includes(wanted)) rows.push(row);
    }
    const {column, direction} = this.sorted;
    if (column < 0) return rows;
    const values = rows.map((row) => [this.columns[column].value(row), row]);
    // What was not measured comes last in both directions.
    values.sort(([a, i], [b, j]) => {
      const isMissing = [a, b].map((value) => value === null || value === undefined);
      if (isMissing[0] || isMissing[1]) return isMissing[0] - isMissing[1] || i - j;
      const order = typeof a === "string" ? a.localeCompare(b, "en", {numeric: true}) : a - b;
      return order * direction || i - j;
    });
    return values.map(([, row]) => row);
  }

  update() {
    const rows = this.chosenRows();
    const pages = Math.max(1, Math.ceil(rows.length / ROWS_PER_PAGE));
    this.page = Math.min(Math.max(0, this.page), pages - 1);
    const begin = this.page * ROWS_PER_PAGE;
    const shown = rows.slice(begin, begin + ROWS_PER_PAGE);
    this.body.replaceChildren(...shown.map((row) => element("tr", null, this.columns.map((column, i) =>
      element(i === 0 ? "th" : "td", {scope: i === 0 && "row", class: !column.value ? "buttons" : i > 0 && "number"},
        column.cell ? column.cell(row) : i === 0 ? column.value(row) : numberOrMissing(column.value(row)))))));
    [...this.head.firstChild.children].forEach((cell, i) => {
      if (!cell.hasAttribute("aria-sort")) return;
      cell.setAttribute("aria-sort", this.sorted.column !== i ? "none" : this.sorted.direction > 0 ? "ascending" : "descending");
    });
    const total = rows.length === this.rows ? "" : `, of ${formatNumber(this.rows)} in all`;
    this.status.textContent = rows.length === 0 ? `No ${this.noun} with that name${total}.` :
      `${formatNumber(begin + 1)} to ${formatNumber(begin + shown.length)} of ${formatNumber(rows.length)} ${this.noun}${total}`;
    this.previous.disabled = this.page === 0;
    this.next.disabled = this.page === pages - 1;
    this.node.classList.toggle("single-page", pages === 1);
  }
}
