import { element, name, visible } from "./text.js";

const drive = JSON.parse(document.getElementById("drive").textContent);
document.title = visible(drive.title);
document.body.append(element("h1", "", name(drive.title)));
