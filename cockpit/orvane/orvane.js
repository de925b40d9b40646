// The page: looks the clocks up, has them shown, and carries out what is asked for.
import { Clock, identityOf, iso, steadyNow } from "./clock.js";
import { listClocks, ovuser } from "./host.js";
import { chosenClocks, filterBy, showClocks, sortBy, tick } from "./table.js";
import { changeInForm, prepareForm } from "./form.js";
import { plot } from "./plot.js";

const pause = 1500; // milliseconds between two look-ups
const outcome = document.querySelector("#outcome");
const trouble = document.querySelector("#trouble");
const clocks = new Map();
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
    if (looking || document.hidden)
        return;
    looking = true;
    try {
        const found = await listClocks();
        const moment = steadyNow();
        const before = clocks.size;
        const there = new Map(found.map(entry => [identityOf(entry), entry]));
        for (const [identity, entry] of there)
            clocks.has(identity) ? clocks.get(identity).take(entry, moment) : clocks.set(identity, new Clock(entry, moment));
        for (const identity of [...clocks.keys()].filter(known => !there.has(known)))
            clocks.delete(identity);
        showClocks(clocks, moment, { choose: replot, change: changeInForm, remove });
        trouble.hidden = true;
        document.querySelector("#empty").hidden = clocks.size > 0;
        document.querySelector("#clocks").hidden = clocks.size === 0;
        if (before !== clocks.size || steadyNow() - plotted > 10)
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
    document.body.setAttribute("aria-busy", "true");
    const [text, className] = await change().then(said => [said, ""], failure => [failure.message, "failed"]);
    outcome.textContent = text.trim();
    outcome.className = className;
    busy = false;
    document.body.removeAttribute("aria-busy");
    await look();
    replot();
}

function ask(question) {
    const dialog = document.querySelector("#ask");
    document.querySelector("#question").textContent = question;
    dialog.returnValue = "no";
    dialog.showModal();
    return new Promise(resolve => {
        dialog.addEventListener("close", () => resolve(dialog.returnValue === "yes"), { once: true });
    });
}

async function remove(clock) {
    if (await ask(`Take away the clock of ${clock.identity}? It will be back on real time.`))
        act(() => ovuser("delete", "--", clock.identity));
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
document.addEventListener("visibilitychange", look);
prepareForm(act);

setInterval(() => {
    if (document.hidden)
        return;
    const moment = steadyNow();
    tick(moment);
    const [first] = clocks.values();
    document.querySelector("#real").textContent = first
        ? "Real time of the host: " + iso(first.realAt(moment), first.offset) : "\u00a0";
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
