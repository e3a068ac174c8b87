/** Colours of the pictures. Those of the curves can be told apart by the colour-blind (Okabe and Ito). */

const LIGHT = ["#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000", "#8C7A00"];
const DARK = ["#56B4E9", "#E69F00", "#2BC495", "#DD97BD", "#F0E442", "#FF8B3D", "#FFFFFF", "#3D9BE0"];

const COLOURS =
  ["ink", "muted", "grid", "surface", "accent", "gap", "firing", "marked", "error", "warning", "note"];

export const look = { dark: false, curves: LIGHT };

/** Reads the colours of the theme from the style sheet. */
export function readLook() {
  const style = getComputedStyle(document.documentElement);
  look.dark = style.getPropertyValue("--dark").trim() === "1";
  look.curves = look.dark ? DARK : LIGHT;
  for (const colour of COLOURS) {
    look[colour] = style.getPropertyValue(`--${colour}`).trim();
  }
}

/** @returns a canvas's context, cleared, in CSS pixels; the canvas made as large as it is shown. */
export function contextOf(canvas, width, height) {
  const scale = window.devicePixelRatio || 1;
  if (canvas.width !== Math.round(width * scale) || canvas.height !== Math.round(height * scale)) {
    canvas.width = Math.round(width * scale);
    canvas.height = Math.round(height * scale);
  }
  const context = canvas.getContext("2d");
  context.setTransform(scale, 0, 0, scale, 0, 0);
  context.clearRect(0, 0, width, height);
  return context;
}
