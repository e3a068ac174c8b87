/** Puts texts of the drive into the page: always as text, never as markup. */

/** Characters that are not seen, or that turn the direction of what follows: shown by their number. */
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff\ufff9-\ufffb]/g;

/** @returns the text with every unseen character shown as its number, such as ⟨U+202E⟩. */
export function visible(text) {
  return String(text).replace(UNSEEN, (c) => `⟨U+${c.charCodeAt(0).toString(16).toUpperCase().padStart(4, "0")}⟩`);
}

/** Makes an element with a class and children: texts, which are made visible, or elements. */
export function element(tag, className = "", ...children) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  for (const child of children) made.append(typeof child === "string" ? visible(child) : child);
  return made;
}

/** A name from the drive, whose direction of writing does not touch what stands around it. */
export function name(text, className = "") {
  return element("bdi", className, text);
}
