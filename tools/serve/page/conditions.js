/** The list of conditions: what they are now, when they fired, and why. */
import { clockText, lengthText } from "../../report/page/format.js";
import { element, name } from "../../report/page/text.js";

const EVERY = 1000; // milliseconds between two requests for explanations
const STATES = new Map([[true, "true"], [false, "false"], [null, "unknown"]]);

function explanation(why) {
  const text = element("pre");
  text.append(...why.trimEnd().split("\n").flatMap((line) => [element("bdi", "", line), "\n"]));
  return text;
}

/** The entry of one condition. */
class Entry {
  constructor(list, condition, index) {
    this.list = list;
    this.condition = condition;
    this.index = index;
    this.state = element("span", "state");
    this.times = element("span", "times");
    this.details = element("details", "", element("summary", "", "Why, and when"));
    this.body = element("div");
    this.details.append(this.body);
    this.details.addEventListener("toggle", () => list.load());
    const row = element("div", "row", this.state, name(condition.name, "what"), this.times);
    const text = condition.text === condition.name ? [] : [element("p", "text", name(condition.text))];
    this.element = element("li", "condition", row, ...text, this.details);
    this.show();
  }

  show() {
    const { state, firings } = this.condition;
    this.state.textContent = STATES.get(state);
    this.state.className = `state ${STATES.get(state)}`;
    this.times.textContent = firings === 1 ? "fired once" : `fired ${firings} times`;
  }

  /** @param told what the server says of the condition, with firings and explanations */
  tell(told) {
    if (!this.details.open) return;
    const key = JSON.stringify(told);
    if (key === this.told) return; // what was unfolded stays so
    this.told = key;
    const open = new Set([...this.body.querySelectorAll("details[open]")].map((details) => details.dataset.at));
    const firings = told.last.slice().reverse().map((firing) => this.firing(firing, open.has(String(firing.at))));
    this.body.replaceChildren(explanation(told.why), ...firings);
  }

  firing({ at, until, why }, isOpen) {
    const { drive } = this.list.view;
    const lasting = until === null ? "still true" : lengthText(until - at);
    const summary = element("summary", "", clockText(drive, at, true).slice(0, 23), " · ", lasting);
    const details = element("details", "firing", summary, explanation(why || "no explanation"));
    details.dataset.at = String(at);
    details.open = isOpen;
    return details;
  }
}

export class Conditions {
  constructor(view) {
    this.view = view;
    this.data = view.data;
    this.isDue = true;
    const list = document.getElementById("conditions");
    this.entries = this.data.conditions.map((condition, index) => new Entry(this, condition, index));
    list.append(...this.entries.map((entry) => entry.element));
    if (!this.entries.length) list.append(element("li", "quiet", "None were given: --when CONDITION adds one."));
    this.data.listen((event) => this.take(event));
    if (this.entries.length) setInterval(() => this.loadIfNeeded(), EVERY);
  }

  take(event) {
    for (const [index] of event.states ?? []) {
      this.entries[index].show();
      this.isDue = true; // its firings are to be seen in the curves
    }
  }

  loadIfNeeded() {
    if (this.isDue || this.entries.some(({ details }) => details.open)) this.load();
  }

  async load() {
    this.isDue = false;
    try {
      const answer = await fetch("api/conditions");
      if (!answer.ok) return;
      const { conditions } = await answer.json();
      conditions.forEach((told, k) => this.entries[k].tell(told));
      this.view.drive.conditions = conditions.map(({ last }) => ({
        lasting: last.map(({ at, until }) => ({ at, until: until ?? 1e15 })),
      }));
    } catch {
      this.isDue = true;
    }
  }
}
