// Plots virtual time against real time for the chosen clocks: how far each moves from its present time.
import { day, host, modulo } from "./clock.js";
import { make } from "./dom.js";
import { _, dateTime, iso, whose } from "./format.js";

const svg = document.querySelector("#plot svg");
const moment = document.querySelector("#moment"); // in the host's real local time, as seconds
const span = document.querySelector("#span");
const reading = document.querySelector("#reading");
// For each span: the seconds between two grid lines and between two slider steps, and the unit of the heights.
const spans = { 3600: [600, 60, 60, "min"], 86400: [14400, 900, 3600, "h"], 604800: [86400, 3600, 86400, "d"] };
const box = { left: 84, right: 780, top: 10, bottom: 225 };
let clocks = [];
let begun = 0;
let local = 0; // the host's real local time at the plot's start

const seconds = () => Number(span.value);
const x = later => box.left + (box.right - box.left) * later / seconds();
// The heights reach from one span back to two ahead.
const y = further => box.bottom - (box.bottom - box.top) * (further / seconds() + 1) / 3;
const point = (later, further) => x(later).toFixed(1) + " " + y(further).toFixed(1);

function draw(parent, name, attributes, text = "") {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, setting] of Object.entries(attributes))
        element.setAttribute(key, setting);
    element.textContent = text;
    parent.append(element);
    return element;
}

function line(className, x1, x2, y1, y2) {
    draw(svg, "line", { class: className, x1, x2, y1, y2 });
}

function path(clock) {
    const from = clock.at(begun);
    const low = clock.midnight - from;
    let text = "M" + point(0, 0);
    if (clock.found.rewind && clock.rate > 0)
        for (let later = (low + day) / clock.rate; later < seconds(); later += day / clock.rate)
            text += `L${point(later, low + day)}L${point(later, low)}`;
    return text + "L" + point(seconds(), clock.at(begun + seconds()) - from);
}

function grid() {
    let [step, , unit, name] = spans[seconds()];
    if (x(step) - x(0) < 52) // on a narrow screen
        step *= 2;
    for (let later = step - modulo(local, step); later <= seconds(); later += step) {
        const date = new Date((local + later) * 1000);
        const label = (local + later) % day ? date.toISOString().slice(11, 16) : date.toUTCString().slice(0, 7);
        line("grid", x(later), x(later), box.top, box.bottom);
        draw(svg, "text", { x: x(later), y: box.bottom + 18, "text-anchor": "middle" }, label);
    }
    for (const share of [-1, 0, 1, 2]) {
        const height = y(share * seconds());
        const label = share ? `${share > 0 ? "+" : "−"}${Math.abs(share) * seconds() / unit} ${name}` : _("shows now");
        line("grid", box.left, box.right, height, height);
        draw(svg, "text", { x: box.left - 6, y: height + 4, "text-anchor": "end" }, label);
    }
}

function read() {
    const later = Math.max(0, moment.value - local);
    svg.querySelector(".guide")?.remove();
    line("guide", x(later), x(later), box.top, box.bottom);
    const lines = [[_("Real time"), local + later - host.offset, host.offset, "real"]];
    for (const clock of clocks)
        lines.push([whose(clock.found), clock.at(begun + later), clock.offset, clock.colour]);
    reading.replaceChildren(...lines.map(([who, epoch, offset, className]) =>
        make("li", { className }, make("bdi", {}, who), " ",
             make("time", { title: iso(epoch, offset), dateTime: iso(epoch, offset) }, dateTime(epoch, offset)))));
    moment.setAttribute("aria-valuetext", lines.map(([who, epoch, offset]) => who + " " + dateTime(epoch, offset)).join(", "));
}

// Draws again from now on.
export function plot(chosen, now) {
    clocks = chosen;
    begun = now;
    document.querySelector("#plot").hidden = clocks.length === 0;
    svg.replaceChildren();
    if (clocks.length === 0)
        return;
    const [, place] = spans[seconds()];
    local = Math.floor(host.at(now)) + host.offset;
    moment.min = local - modulo(local, place);
    moment.max = Number(moment.min) + seconds();
    moment.step = place;
    box.right = svg.getBoundingClientRect().width - 20;
    grid();
    const [width, height] = [box.right - box.left, box.bottom - box.top];
    const inside = draw(svg, "svg", { x: box.left, y: box.top, width, height,
                                      viewBox: `${box.left} ${box.top} ${width} ${height}` });
    draw(inside, "path", { d: `M${point(0, 0)}L${point(seconds(), seconds())}`, class: "curve real" });
    for (const clock of clocks)
        draw(inside, "path", { d: path(clock), class: "curve " + clock.colour, "data-key": clock.key });
    read();
}

// Moves the plot on with the time.
export function plotAgain(now) {
    if (now - begun > 10)
        plot(clocks, now);
}

moment.addEventListener("input", () => read());
for (const [source, what] of [[span, "change"], [window, "resize"]])
    source.addEventListener(what, () => plot(clocks, begun));
svg.addEventListener("pointermove", event => {
    const at = event.clientX - svg.getBoundingClientRect().left;
    moment.value = Number(moment.min) + seconds() * (at - box.left) / (box.right - box.left);
    read();
});
