/** What lies behind the curves of every panel: gaps, firings, the place that was jumped to. */
import { look } from "./look.js";

/** Calls `draw(x0, x1)` for each stretch that is seen, in pixels; stretches that fall on the same pixels once. */
function eachVisible(stretches, view, area, draw) {
  let drawn = -Infinity;
  for (const stretch of stretches) {
    const end = stretch.until ?? stretch.to ?? stretch.at;
    const begin = stretch.at ?? stretch.from;
    if (end < view.from || begin > view.to) continue;
    const x = (time) => area.x + ((time - view.from) / view.width) * area.w;
    const x0 = Math.max(area.x, x(begin));
    const x1 = Math.min(area.x + area.w, x(end));
    if (x1 < drawn + 0.5) continue;
    drawn = Math.max(x1, x0);
    draw(x0, x1);
  }
}

/** @param area {x, y, w, h} of the plot in pixels */
export function drawMarks(context, view, area) {
  const { drive } = view;
  const band = (colour) => (x0, x1) => {
    context.fillStyle = colour;
    context.fillRect(x0, area.y, Math.max(1, x1 - x0), area.h);
  };
  eachVisible(drive.gaps, view, area, band(look.gap));
  if (view.marked) eachVisible([view.marked], view, area, band(look.marked));
  drawFirings(context, view, area);
}

export function drawFirings(context, view, area) {
  context.fillStyle = look.firing;
  for (const condition of view.drive.conditions) {
    eachVisible(condition.lasting, view, area, (x0, x1) => {
      context.globalAlpha = 0.12;
      if (x1 > x0 + 1) context.fillRect(x0, area.y, x1 - x0, area.h);
      context.globalAlpha = 0.6;
      context.fillRect(Math.round(x0), area.y, 1, area.h);
      context.globalAlpha = 1;
    });
  }
}
