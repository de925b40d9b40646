// The table of clocks. A row stays the same element as long as its clock exists, to keep the focus and the scroll
// position.
import { host } from "./clock.js";
import { button, icon, make, put } from "./dom.js";
import { makeDetails } from "./details.js";
import { _, dateTime, distance, format, iso, kindWords, nameOf, speedWords, whose } from "./format.js";
import { admin, mayChange } from "./host.js";
import { keptLine } from "./keep.js";

const table = document.querySelector("#clocks"); // with explicit roles, since its CSS layout removes the implicit ones
const rows = new Map();
const inSight = new Set();
const sight = new IntersectionObserver(entries => {
    for (const entry of entries)
        inSight[entry.isIntersecting ? "add" : "delete"](entry.target.row);
}, { rootMargin: "200px" });
const collator = new Intl.Collator(undefined, { numeric: true });
const columns = [
    ["name", _("For"), row => nameOf(row.clock.found)],
    ["time", _("Shows now"), (row, moment) => row.clock.at(moment)],
    ["ahead", _("From real time"), (row, moment) => row.clock.aheadAt(moment)],
    ["speed", _("Speed"), row => row.clock.rate],
    ["rewind", _("At midnight"), row => Number(row.clock.found.rewind)],
];
let order = { by: "name", sign: 1 };
let wanted = "";
let actions = {};

function makeHeading([name, text]) {
    const sort = make("button", { type: "button", className: "pf-c-table__button", onclick: () => sortBy(name) },
                      make("div", { className: "pf-c-table__button-content" },
                           make("span", { className: "pf-c-table__text" }, text),
                           make("span", { className: "pf-c-table__sort-indicator" })));
    const heading = make("th", { role: "columnheader", className: "pf-c-table__sort" }, sort);
    heading.dataset.sort = name;
    return heading;
}

export function prepareTable(what) {
    actions = what;
    const empty = text => make("td", { role: "columnheader" }, make("span", { className: "pf-u-screen-reader" }, text));
    table.tHead.append(make("tr", { role: "row" }, empty(_("Details")), empty(_("In the plot")), ...columns.map(makeHeading),
                            make("th", { role: "columnheader", className: "kept" }, _("Kept")), empty(_("Actions"))));
    table.addEventListener("keydown", move);
    order.sign = -1;
    sortBy("name");
}

// Each row is one tab stop; the arrow keys move along it and between rows.
const stops = row =>
    [...row.main.querySelectorAll("button, input")].filter(one => one.checkVisibility({ checkVisibilityCSS: true }));

function move(event) {
    const body = event.target.closest("tbody");
    const along = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    const across = { ArrowUp: "previousElementSibling", ArrowDown: "nextElementSibling" }[event.key];
    if (!body || !(along || across) || !body.row.main.contains(event.target))
        return;
    event.preventDefault();
    const place = stops(body.row).indexOf(event.target);
    let next = stops(body.row)[place + along];
    if (across) {
        let other = body[across];
        while (other && other.hidden)
            other = other[across];
        next = other?.row && stops(other.row)[place];
    }
    next?.focus();
}

function toggle(row) {
    const open = row.details === null;
    if (open) {
        const content = make("div", { className: "pf-c-table__expandable-row-content" }, makeDetails(row.clock));
        row.details = make("tr", { role: "row", className: "pf-c-table__expandable-row pf-m-expanded" },
                           make("td", { role: "cell", colSpan: 9 }, content));
        row.body.append(row.details);
    } else {
        row.details.remove();
        row.details = null;
    }
    row.body.classList.toggle("pf-m-expanded", open);
    row.toggle.classList.toggle("pf-m-expanded", open);
    row.toggle.setAttribute("aria-expanded", open);
}

function labelled(text, content, properties = {}) {
    return make("td", { role: "cell", ":data-label": text, ...properties }, content);
}

function makeRow(clock) {
    const row = { clock, details: null };
    const who = whose(clock.found);
    const { kind } = clock.found;
    row.toggle = button("plain", "", () => toggle(row), { ":aria-expanded": false,
                                                          ariaLabel: format(_("Details of the clock of $0"), who) });
    row.toggle.append(make("div", { className: "pf-c-table__toggle-icon" }, icon("angle-down")));
    row.plot = make("input", { type: "checkbox", className: clock.colour, checked: rows.size < 6, tabIndex: -1,
                               ariaLabel: format(_("Plot the clock of $0"), who), onchange: actions.choose });
    row.keep = make("input", { type: "checkbox", className: "pf-c-switch__input", tabIndex: -1,
                               ariaLabel: format(_("Keep the clock of $0 after a restart"), who),
                               onchange: () => actions.keep(row.clock, row.keep) });
    row.keepCell = make("label", { className: "pf-c-switch" }, row.keep,
                        make("span", { className: "pf-c-switch__toggle" }));
    const act = (text, label, what, kind) => button(kind, text, () => actions[what](row.clock), {
        tabIndex: -1, ariaLabel: format(label, who) });
    row.change = act(_("Edit"), _("Edit the clock of $0"), "change", "secondary pf-m-small");
    row.remove = act(_("Take away"), _("Take away the clock of $0"), "remove", "link pf-m-danger pf-m-small");
    row.time = make("time", {});
    for (const name of ["ahead", "speed", "rewind"])
        row[name] = make("span", {});
    const name = nameOf(clock.found);
    const cells = [row.time, row.ahead, row.speed, row.rewind];
    row.kept = labelled(_("Kept"), kind === "process" ? "" : row.keepCell, { className: "kept" });
    row.main = make("tr", { role: "row" }, make("td", { role: "cell", className: "pf-c-table__toggle" }, row.toggle),
                    make("td", { role: "cell", className: "pf-c-table__check" }, row.plot),
                    make("th", { role: "rowheader", className: "who", title: name, ":data-label": _("For") },
                         make("bdi", {}, name), make("small", {}, " ", kindWords[kind])),
                    ...cells.map((cell, place) => labelled(columns[place + 1][1], cell)), row.kept,
                    make("td", { role: "cell", className: "pf-c-table__action" }, row.change, row.remove));
    row.body = make("tbody", { role: "rowgroup", row }, row.main);
    row.body.dataset.key = clock.key;
    row.text = clock.identity.toLowerCase() + " " + kindWords[kind];
    sight.observe(row.body);
    return row;
}

function refresh(row) {
    const { found } = row.clock;
    row.seen = found;
    row.body.hidden = !row.text.includes(wanted);
    tick(performance.now() / 1000, [row]);
    put(row.speed, speedWords(found));
    put(row.rewind, found.rewind ? _("goes back") : _("goes on"));
    row.keep.checked = Boolean(keptLine(found));
    row.change.hidden = row.remove.hidden = !mayChange(found);
}

export function refreshAll() {
    table.classList.toggle("limited", admin.allowed === false);
    rows.forEach(refresh);
}

function comparison() {
    const moment = performance.now() / 1000;
    const [, , value] = columns.find(([name]) => name === order.by);
    const compare = order.by === "name" ? collator.compare : (a, b) => a - b;
    return (a, b) => order.sign * compare(value(a, moment), value(b, moment));
}

function arrange() {
    const sorted = [...rows.values()].sort(comparison());
    const focused = document.activeElement;
    let place = table.tHead.nextElementSibling;
    for (const { body } of sorted) {
        if (body === place)
            place = place.nextElementSibling;
        else
            table.insertBefore(body, place);
    }
    if (focused !== document.activeElement && table.contains(focused))
        focused.focus({ preventScroll: true });
}

function drop(row) {
    if (row.body.contains(document.activeElement)) { // the keyboard continues from here
        const next = row.body.nextElementSibling || row.body.previousElementSibling;
        (next?.row?.toggle || document.querySelector("#new")).focus();
    }
    sight.unobserve(row.body);
    inSight.delete(row);
    row.body.remove();
    rows.delete(row.clock.key);
}

// The milliseconds of a frame for new rows; the rest follow in later frames, and all are in order at the end.
const share = 6;
let coming = 0;

// Shows exactly these clocks, keeping existing rows. Calls shown when all are there.
export function showClocks(clocks, shown) {
    cancelAnimationFrame(coming);
    for (const [key, row] of rows)
        if (clocks.get(key) !== row.clock)
            drop(row);
    const absent = [];
    for (const [key, clock] of clocks) {
        const row = rows.get(key);
        if (!row)
            absent.push({ clock });
        else if (row.seen !== clock.found)
            refresh(row);
    }
    absent.sort(comparison());
    const bring = () => {
        for (const end = performance.now() + share; absent.length && performance.now() < end;) {
            const row = makeRow(absent.shift().clock);
            rows.set(row.clock.key, row);
            refresh(row);
            table.append(row.body);
        }
        if (absent.length) {
            coming = requestAnimationFrame(bring);
            return;
        }
        arrange();
        shown();
    };
    bring();
}

function sift() {
    for (const row of rows.values())
        row.body.hidden = !row.text.includes(wanted);
}

export function tick(moment, some = inSight) {
    for (const { clock, time, ahead } of some) {
        const epoch = clock.at(moment);
        const text = dateTime(epoch, clock.offset);
        if (time.textContent !== text) {
            time.textContent = text;
            time.title = time.dateTime = iso(epoch, clock.offset);
        }
        put(ahead, distance(clock.aheadAt(moment)));
        ahead.title = iso(host.at(moment), host.offset);
    }
}

export const chosenClocks = () =>
    [...rows.values()].filter(({ body, plot }) => plot.checked && !body.hidden).map(({ clock }) => clock);

// Highlights a clock that was just set.
export function pointOut(key) {
    const row = rows.get(key);
    if (!row)
        return;
    row.body.scrollIntoView({ block: "nearest" });
    row.main.classList.remove("new");
    requestAnimationFrame(() => row.main.classList.add("new"));
    row.toggle.focus({ preventScroll: true });
}

export function filterBy(text) {
    wanted = text.toLowerCase();
    sift();
}

function sortBy(by) {
    order = { by, sign: order.by === by ? -order.sign : 1 };
    for (const heading of table.tHead.querySelectorAll("[data-sort]")) {
        const chosen = heading.dataset.sort === by;
        heading.classList.toggle("pf-m-selected", chosen);
        const arrow = icon(!chosen ? "arrows-alt-v" : order.sign > 0 ? "long-arrow-alt-up" : "long-arrow-alt-down");
        heading.querySelector(".pf-c-table__sort-indicator").replaceChildren(arrow);
        heading.ariaSort = chosen ? order.sign > 0 ? "ascending" : "descending" : null;
    }
    arrange();
}
