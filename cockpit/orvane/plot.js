// Virtual time against real time, for the clocks that were chosen: how far each gets from what it shows now.
import { iso } from "./clock.js";
import { make } from "./dom.js";

const svg = document.querySelector("#plot svg");
const moment = document.querySelector("#moment");
const span = document.querySelector("#span");
const reading = document.querySelector("#reading");
const box = { left: 70, right: 780, top: 10, bottom: 225 };
let clocks = [];
let begun = 0;

function draw(name, attributes, text) {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, setting] of Object.entries(attributes))
        element.setAttribute(key, setting);
    if (text)
        element.textContent = text;
    svg.append(element);
    return element;
}

function seconds() {
    return Number(span.value);
}

const units = { 3600: [600, 60, "min"], 86400: [14400, 3600, "h"], 604800: [86400, 86400, "d"] };

function x(later) {
    return box.left + (box.right - box.left) * later / seconds();
}

function y(further) {
    const share = (further + seconds()) / (3 * seconds()); // from as far back to twice as far ahead
    return box.bottom - (box.bottom - box.top) * Math.min(1.2, Math.max(-0.2, share));
}

function path(further) {
    const steps = 700;
    let text = "";
    for (let i = 0; i <= steps; ++i) {
        const later = seconds() * i / steps;
        text += (i ? "L" : "M") + x(later).toFixed(1) + " " + y(further(later)).toFixed(1);
    }
    return text;
}

function grid() {
    const [step, unit, name] = units[seconds()];
    for (let later = 0; later <= seconds(); later += step) {
        draw("line", { x1: x(later), x2: x(later), y1: box.top, y2: box.bottom, class: "grid" });
        draw("text", { x: x(later), y: box.bottom + 16, "text-anchor": "middle" }, `+${later / unit} ${name}`);
    }
    for (const share of [-1, 0, 1, 2]) {
        draw("line", { x1: box.left, x2: box.right, y1: y(share * seconds()), y2: y(share * seconds()), class: "grid" });
        const label = share === 0 ? "shows now" : `${share > 0 ? "+" : "−"}${Math.abs(share) * seconds() / unit} ${name}`;
        draw("text", { x: box.left - 6, y: y(share * seconds()) + 4, "text-anchor": "end" }, label);
    }
}

function read() {
    const later = seconds() * moment.value / moment.max;
    const [first] = clocks;
    for (const guide of svg.querySelectorAll(".guide"))
        guide.remove();
    draw("line", { x1: x(later), x2: x(later), y1: box.top, y2: box.bottom, class: "guide" });
    const lines = [["real time", iso(first.realAt(begun + later), first.offset), "real"]];
    clocks.forEach((clock, i) => lines.push([clock.identity, iso(clock.at(begun + later), clock.offset), "line" + i % 6]));
    reading.replaceChildren(...lines.map(([who, time, className]) =>
        make("li", { className }, make("bdi", {}, who), " " + time)));
    moment.setAttribute("aria-valuetext", lines.map(([who, time]) => who + " " + time).join(", "));
}

// Draws anew from now on.
export function plot(chosen, now) {
    clocks = chosen;
    begun = now;
    document.querySelector("#plot").hidden = clocks.length === 0;
    svg.replaceChildren();
    if (clocks.length === 0)
        return;
    grid();
    draw("path", { d: path(later => later), class: "curve real" });
    clocks.forEach((clock, i) => {
        const curve = draw("path", { d: path(later => clock.at(now + later) - clock.at(now)), class: "curve line" + i % 6 });
        curve.dataset.identity = clock.identity;
    });
    read();
}

moment.addEventListener("input", () => read());
span.addEventListener("change", () => plot(clocks, begun));
svg.addEventListener("pointermove", event => {
    const place = svg.getBoundingClientRect();
    const at = (event.clientX - place.left) * 800 / place.width;
    moment.value = moment.max * (at - box.left) / (box.right - box.left);
    read();
});
