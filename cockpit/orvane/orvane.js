// The page: looks the clocks up, has them shown, and carries out what is asked for.
/* global cockpit */
import { Clock, host, iso, steadyNow } from "./clock.js";
import { listClocks, outcomeOf, ovuser } from "./host.js";
import { chosenClocks, filterBy, showClocks, sortBy, tick } from "./table.js";
import { changeInForm, prepareForm } from "./form.js";
import { make } from "./dom.js";
import { plot } from "./plot.js";

const pause = 1500; // milliseconds between two look-ups
const outcome = document.querySelector("#outcome");
const trouble = document.querySelector("#trouble");
let clocks = new Map();
let next = 0;
let looking = false;
let busy = false;
let plotted = 0;

function replot() {
    plotted = steadyNow();
    plot(chosenClocks(), plotted);
}

async function look() {
    clearTimeout(next);
    if (looking || cockpit.hidden) // as it is, too, while the console shows another page
        return;
    looking = true;
    try {
        const found = await listClocks();
        const moment = steadyNow();
        let changed = found.length !== clocks.size;
        if (found.length)
            host.take(found[0], moment);
        clocks = new Map(found.map(entry => {
            const number = entry.kind[0] + ":" + entry.id;
            const clock = clocks.get(number) || new Clock(entry);
            changed = clock.take(entry, moment) || changed;
            return [number, clock];
        }));
        showClocks(clocks, moment, { choose: replot, change: changeInForm, remove });
        trouble.hidden = true;
        document.querySelector("#empty").hidden = clocks.size > 0;
        document.querySelector("#clocks").hidden = clocks.size === 0;
        if (changed || moment - plotted > 10)
            replot();
    } catch (failure) {
        trouble.textContent = failure.message;
        trouble.hidden = false;
    }
    looking = false;
    next = setTimeout(look, pause);
}

// One change at a time: what is clicked meanwhile, as by a double click, is not sent.
async function act(change) {
    if (busy)
        return;
    busy = true;
    [outcome.textContent, outcome.className] = await outcomeOf(change());
    busy = false;
    look();
}

function ask(...question) {
    const dialog = document.querySelector("#ask");
    document.querySelector("#question").replaceChildren(...question);
    dialog.returnValue = "no";
    dialog.showModal();
    return new Promise(resolve => {
        dialog.addEventListener("close", () => resolve(dialog.returnValue === "yes"), { once: true });
    });
}

async function remove(clock) {
    const who = make("bdi", {}, clock.identity); // a name's own direction
    if (await ask("Take away the clock of ", who, "? It will be back on real time."))
        act(() => ovuser("delete", "--", clock.number));
}

document.querySelector("#reset").addEventListener("click", async () => {
    if (await ask("Take away all virtual clocks of this host?"))
        act(() => ovuser("reset"));
});
document.querySelector("#filter").addEventListener("input", event => {
    filterBy(event.target.value);
    replot();
});
for (const heading of document.querySelectorAll("[data-sort]"))
    heading.addEventListener("click", () => sortBy(heading.dataset.sort, steadyNow()));
cockpit.addEventListener("visibilitychange", look);
prepareForm(act);

setInterval(() => {
    const moment = steadyNow();
    if (cockpit.hidden || !host.start)
        return;
    tick(moment);
    document.querySelector("#real").textContent = "Real time: " + iso(host.at(moment), host.offset);
}, 200);

// As the console around the page is: light, dark, or as the browser says.
const darkness = matchMedia("(prefers-color-scheme: dark)");
function dress() {
    const style = localStorage.getItem("shell:style") || "auto";
    document.documentElement.classList.toggle("dark", style === "dark" || (style === "auto" && darkness.matches));
}
darkness.addEventListener("change", dress);
addEventListener("storage", dress);
addEventListener("cockpit-style", dress);
dress();
look();
