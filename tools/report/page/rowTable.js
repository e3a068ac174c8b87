/** A table with search. Only the rows that are seen are in the page. */
import { element } from "./text.js";

const ROW = 34; // height of a row in pixels, as in the style sheet
const AROUND = 8; // rows kept above and below those that are seen

/** @returns the rows of a table: what each is of, its index, and the words that a search finds it by */
export function rowsOf(all, words) {
  return all.map((of, index) => ({ of, index, words: words(of).join("\n").toLowerCase() }));
}

export class RowTable {
  constructor() {
    this.holder = document.getElementById("table");
    this.search = document.getElementById("search");
    this.search.addEventListener("input", () => this.filter());
    this.holder.addEventListener("scroll", () => this.fill());
    new ResizeObserver(() => this.fill()).observe(this.holder);
  }

  /**
   * Shows a set of rows.
   * @param shown {columns, kind, rows}; a column is title, class, what a row shows there, and by what it is sorted
   */
  choose(shown) {
    this.shown = shown;
    this.order = null;
    this.holder.className = `table ${shown.kind}`;
    this.head = element("div", "tr head", ...shown.columns.map((column) => this.title(column)));
    this.head.setAttribute("role", "row");
    this.body = element("div", "body");
    this.body.setAttribute("role", "rowgroup");
    this.holder.replaceChildren(this.head, this.body);
    this.filter();
  }

  title(column) {
    const [text, className, , by] = column;
    const cell = element("div", `td ${className}`);
    cell.setAttribute("role", "columnheader");
    if (!by) {
      cell.append(text);
      return cell;
    }
    const sort = element("button", "sort", text);
    sort.addEventListener("click", () => this.sort(column, cell));
    cell.append(sort);
    return cell;
  }

  sort(column, cell) {
    const falling = this.order?.column === column && !this.order.falling;
    this.order = { column, falling };
    for (const other of this.head.children) other.removeAttribute("aria-sort");
    cell.setAttribute("aria-sort", falling ? "descending" : "ascending");
    this.filter();
  }

  /** Shows the rows that hold every word of the search. */
  filter() {
    const words = this.search.value.toLowerCase().split(/\s+/).filter(Boolean);
    this.rows = this.shown.rows.filter((row) => words.every((word) => row.words.includes(word)));
    if (this.order) {
      const by = this.order.column[3];
      const sign = this.order.falling ? -1 : 1;
      this.rows.sort((a, b) => sign * (by(a) < by(b) ? -1 : by(a) > by(b) ? 1 : 0));
    }
    document.getElementById("found").textContent =
      words.length ? `${this.rows.length} of ${this.shown.rows.length}` : "";
    this.body.style.height = `${this.rows.length * ROW}px`;
    this.holder.setAttribute("aria-rowcount", String(this.rows.length + 1));
    this.refill();
  }

  refill() {
    this.made = new Map();
    this.body.replaceChildren();
    this.fill();
  }

  /** Makes the rows that are seen, and drops the others. */
  fill() {
    const begin = Math.max(0, Math.floor(this.holder.scrollTop / ROW) - AROUND);
    const end = Math.min(this.rows.length, begin + Math.ceil(this.holder.clientHeight / ROW) + 2 * AROUND);
    for (const [index, row] of this.made) {
      if (index >= begin && index < end) continue;
      row.remove();
      this.made.delete(index);
    }
    for (let index = begin; index < end; ++index) {
      if (this.made.has(index)) continue;
      const row = this.row(this.rows[index], index);
      this.made.set(index, row);
      this.body.append(row);
    }
  }

  row(data, index) {
    const row = element("div", "tr", ...this.shown.columns.map(([, className, show]) => {
      const cell = element("div", `td ${className}`, show(data));
      cell.setAttribute("role", "cell");
      if (className === "comment" || className === "name") cell.title = cell.textContent;
      return cell;
    }));
    row.setAttribute("role", "row");
    row.setAttribute("aria-rowindex", String(index + 2));
    row.style.transform = `translateY(${index * ROW}px)`;
    this.decorate(row, data);
    return row;
  }

  /** What else a row needs. */
  decorate() {}
}
