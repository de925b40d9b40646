// The table of clocks: rows stay the same elements for as long as their clock is there, so that neither focus nor the
// place that one has scrolled to is lost.
import { distance, host, iso } from "./clock.js";
import { make } from "./dom.js";

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

function button(text, what, identity, onclick) {
    return make("button", { type: "button", ariaLabel: `${what} ${identity}`, onclick }, text);
}

function makeRow(clock, actions) {
    const { identity } = clock;
    const cells = { clock };
    const chosen = make("input", { type: "checkbox", className: clock.colour, checked: rows.size < 6,
                                   ariaLabel: "Plot " + identity, onchange: actions.choose });
    const row = make("tr", { cells_: cells }, make("td", {}, chosen),
                     make("th", { scope: "row", className: "who", title: identity }, make("bdi", {}, identity)));
    row.dataset.identity = identity;
    for (const className of ["time", "ahead", "speed", "rewind", "seen"])
        row.append(cells[className] = make("td", { className }));
    row.append(make("td", { className: "do" },
                    button("Change", "Change the clock of", identity, () => actions.change(cells.clock)),
                    button("Take away…", "Take away the clock of", identity, () => actions.remove(cells.clock))));
    sight.observe(row);
    return row;
}

const values = {
    identity: clock => clock.identity,
    epoch: (clock, moment) => clock.at(moment),
    ahead: (clock, moment) => clock.aheadAt(moment),
    speed: clock => clock.pace,
    rewind: clock => clock.found.rewind,
};

function arrange(moment) {
    const keyed = [...rows.values()].map(row => [values[order.by](row.cells_.clock, moment), row]);
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
    for (const [key, row] of rows) {
        if (!clocks.has(key)) {
            if (row.contains(document.activeElement)) // one goes on from here by the keyboard
                body.closest(".scroll").focus();
            sight.unobserve(row);
            inSight.delete(row);
            row.remove();
            rows.delete(key);
        }
    }
    for (const [key, clock] of clocks) {
        if (!rows.has(key))
            rows.set(key, makeRow(clock, actions));
        const { cells_: cells } = rows.get(key);
        cells.clock = clock;
        put(cells.speed, clock.found.speed_text);
        put(cells.rewind, clock.found.rewind ? "at midnight" : "no");
        put(cells.seen, iso(host.at(clock.seen), host.offset).slice(11, 19));
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
        const direction = order.sign > 0 ? "ascending" : "descending";
        heading.parentElement.ariaSort = heading.dataset.sort === by ? direction : null;
    }
    arrange(moment);
}
