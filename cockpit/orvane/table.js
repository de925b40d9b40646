// The table of clocks: rows stay the same elements for as long as their clock is there, so that neither focus nor the
// place that one has scrolled to is lost.
import { distance, iso } from "./clock.js";

const body = document.querySelector("#clocks tbody");
const rows = new Map();
const inSight = new Set();
const sight = new IntersectionObserver(entries => {
    for (const entry of entries)
        inSight[entry.isIntersecting ? "add" : "delete"](entry.target);
});
let order = { by: "identity", sign: 1 };
let wanted = "";

function put(element, text) {
    if (element.textContent !== text)
        element.textContent = text;
}

function cell(row, name, ...children) {
    const element = document.createElement("td");
    element.className = name;
    element.append(...children);
    row.append(element);
    return element;
}

function button(text, label, act) {
    const element = document.createElement("button");
    element.type = "button";
    element.textContent = text;
    element.setAttribute("aria-label", label);
    element.addEventListener("click", act);
    return element;
}

function makeRow(clock, actions) {
    const row = document.createElement("tr");
    row.dataset.identity = clock.identity;
    const chosen = document.createElement("input");
    chosen.type = "checkbox";
    chosen.checked = rows.size < 6;
    chosen.setAttribute("aria-label", "Plot " + clock.identity);
    chosen.addEventListener("change", actions.choose);
    cell(row, "chosen", chosen);
    const who = document.createElement("th");
    who.scope = "row";
    who.className = "who";
    const name = document.createElement("bdi"); // which a name's own direction does not leave
    name.textContent = clock.identity;
    who.append(name);
    row.append(who);
    const cells = { clock };
    for (const part of ["time", "ahead", "speed", "rewind", "seen"])
        cells[part] = cell(row, part);
    cell(row, "do", button("Change", "Change the clock of " + clock.identity, () => actions.change(cells.clock)),
         button("Take away…", "Take away the clock of " + clock.identity, () => actions.remove(cells.clock)));
    row.cells_ = cells;
    sight.observe(row);
    return row;
}

function value(row, moment) {
    const { clock } = row.cells_;
    if (order.by === "identity")
        return clock.identity;
    return order.by === "epoch" ? clock.at(moment) : order.by === "ahead" ? clock.aheadAt(moment) : clock.found[order.by];
}

function arrange(moment) {
    const keyed = [...rows.values()].map(row => [value(row, moment), row]);
    keyed.sort(([a], [b]) => order.sign * (a < b ? -1 : a > b ? 1 : 0));
    const focused = document.activeElement;
    let place = body.firstElementChild;
    for (const [, row] of keyed) {
        if (row === place)
            place = place.nextElementSibling;
        else
            body.insertBefore(row, place);
    }
    if (focused !== document.activeElement && body.contains(focused))
        focused.focus({ preventScroll: true });
}

function sift() {
    for (const row of rows.values())
        row.hidden = !row.dataset.identity.toLowerCase().includes(wanted);
}

// Shows these clocks and no others; what is there is kept.
export function showClocks(clocks, moment, actions) {
    for (const [identity, row] of rows) {
        if (!clocks.has(identity)) {
            sight.unobserve(row);
            inSight.delete(row);
            row.remove();
            rows.delete(identity);
        }
    }
    for (const [identity, clock] of clocks) {
        if (!rows.has(identity))
            rows.set(identity, makeRow(clock, actions));
        const { cells_: cells } = rows.get(identity);
        cells.clock = clock;
        put(cells.speed, clock.found.speed_text);
        put(cells.rewind, clock.found.rewind ? "at midnight" : "no");
        put(cells.seen, iso(clock.realAt(clock.seen), clock.offset).slice(11, 19));
    }
    arrange(moment);
    sift();
    tick(moment, rows.values());
}

export function tick(moment, some = inSight) {
    for (const row of some) {
        const { clock, time, ahead } = row.cells_;
        put(time, iso(clock.at(moment), clock.offset));
        put(ahead, distance(clock.aheadAt(moment)));
    }
}

export function chosenClocks() {
    return [...body.querySelectorAll("tr:not([hidden])")]
        .filter(row => row.querySelector("input").checked).map(row => row.cells_.clock);
}

export function filterBy(text) {
    wanted = text.toLowerCase();
    sift();
}

export function sortBy(by, moment) {
    order = { by, sign: order.by === by ? -order.sign : 1 };
    for (const heading of document.querySelectorAll("#clocks th button")) {
        if (heading.dataset.sort === by)
            heading.parentElement.setAttribute("aria-sort", order.sign > 0 ? "ascending" : "descending");
        else
            heading.parentElement.removeAttribute("aria-sort");
    }
    arrange(moment);
}
