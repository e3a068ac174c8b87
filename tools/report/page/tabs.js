/** A row of tabs: one is chosen, the arrow keys go on to the next. */
import { element } from "./text.js";

/**
 * @param holder the element with the role tablist
 * @param names the texts of the tabs
 * @param choose called with the number of the tab that is chosen; now with the first
 */
export function makeTabs(holder, names, choose) {
  const tabs = names.map((text, k) => {
    const tab = element("button", "tab", text);
    tab.setAttribute("role", "tab");
    tab.addEventListener("click", () => select(k));
    return tab;
  });
  const select = (chosen) => {
    tabs.forEach((tab, k) => {
      tab.setAttribute("aria-selected", String(k === chosen));
      tab.tabIndex = k === chosen ? 0 : -1;
    });
    choose(chosen);
  };
  holder.addEventListener("keydown", (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (!step) return;
    event.preventDefault();
    event.stopPropagation();
    const next = (tabs.indexOf(document.activeElement) + step + tabs.length) % tabs.length;
    tabs[next].focus();
    select(next);
  });
  holder.replaceChildren(...tabs);
  select(0);
  return select;
}
