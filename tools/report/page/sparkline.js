/** The small picture of a signal's whole drive in the table. */

const SVG = "http://www.w3.org/2000/svg";
const HEIGHT = 20;
const STEP = 3;

const y = (value) => (HEIGHT - 1.5 - (value / 255) * (HEIGHT - 3)).toFixed(1);

/** @returns the outlines of the stretches without a hole: along the largest values, back along the least */
function outline(pairs) {
  let path = "";
  for (let begin = 0, end; begin < pairs.length; begin = end + 1) {
    for (end = begin; end < pairs.length && pairs[end][0] !== null; ++end);
    if (end === begin) continue;
    const stretch = pairs.slice(begin, end).map(([least, largest], k) => [(begin + k) * STEP + 1, least, largest]);
    const above = stretch.map(([x, , largest]) => `${x} ${y(largest)}`);
    const below = stretch.reverse().map(([x, least]) => `${x} ${y(least)}`);
    path += `M${above.join("L")}L${below.join("L")}Z`;
  }
  return path;
}

/** @param spark pairs of least and largest value, 0 to 255 or null, one after the other */
export function sparkline(spark) {
  const pairs = [];
  for (let i = 0; i + 1 < spark.length; i += 2) pairs.push([spark[i], spark[i + 1]]);
  const picture = document.createElementNS(SVG, "svg");
  picture.setAttribute("class", "spark");
  picture.setAttribute("viewBox", `0 0 ${Math.max(32, pairs.length) * STEP} ${HEIGHT}`);
  picture.setAttribute("aria-hidden", "true");
  const path = document.createElementNS(SVG, "path");
  path.setAttribute("d", outline(pairs));
  picture.append(path);
  return picture;
}
