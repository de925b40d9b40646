// The page: watches the clocks, shows them, and carries out the reader's actions.
/* global cockpit */
import { Clock, host, keyOf, steadyNow } from "./clock.js";
import { tell } from "./alerts.js";
import "./access.js";
import { ask } from "./dialog.js";
import { put } from "./dom.js";
import { _, dateTime, format, iso, whose } from "./format.js";
import { admin, ovuser, reader, watchClocks } from "./host.js";
import { forget, forgetAll, keep, keptLine, watchKept } from "./keep.js";
import { plot, plotAgain } from "./plot.js";
import { openSettings } from "./settings.js";
import { showContent, showFailure, showNone } from "./states.js";
import { chosenClocks, filterBy, pointOut, prepareTable, refreshAll, showClocks, tick } from "./table.js";

const pause = 3000; // milliseconds before a retry
const real = document.querySelector("#real");
let clocks = new Map();
let stop = null;
let again = 0;
let fresh = ""; // the owner of a clock just set here, to be highlighted

const replot = () => plot(chosenClocks(), steadyNow());

function show() {
    if (clocks.size === 0)
        showNone(add);
    else
        showContent();
    showClocks(clocks, () => {
        replot();
        if (clocks.has(fresh)) {
            pointOut(fresh);
            fresh = "";
        }
    });
}

function take(changes, all) {
    const moment = steadyNow();
    const before = clocks;
    if (all)
        clocks = new Map();
    for (const found of changes.filter(({ change }) => change === "real"))
        host.take(found.epoch, found.real, moment);
    for (const found of changes.filter(({ change }) => change !== "real")) {
        const key = keyOf(found);
        if (found.change === "gone") {
            clocks.delete(key);
            continue;
        }
        const clock = before.get(key) || new Clock(found);
        clock.take(found, moment);
        clocks.set(key, clock);
    }
    show();
}

// Stops while the console shows another page.
function listen() {
    clearTimeout(again);
    stop?.();
    stop = cockpit.hidden ? null : watchClocks(take, failure => {
        showFailure(failure, listen);
        again = setTimeout(listen, pause);
    });
}

function done(key, words) {
    if (clocks.has(key))
        pointOut(key);
    else
        fresh = key;
    tell("success", words);
}

function add() {
    openSettings(null, found => done(keyOf(found), format(_("The clock of $0 is set."), whose(found))));
}

prepareTable({
    choose: replot,
    change: clock => openSettings(clock, found => done(keyOf(found), format(_("The clock of $0 is set."), whose(found)))),
    async keep(clock, control) {
        const { found } = clock;
        try {
            await (control.checked ? keep(found) : forget(found));
        } catch (failure) {
            tell("danger", format(_("What is kept of the clock of $0 could not be changed"), whose(found)), failure.message);
        }
        control.checked = Boolean(keptLine(found));
    },
    remove(clock) {
        const { found } = clock;
        ask(format(_("Take away the clock of $0?"), whose(found)), _("The real time is back at once."), _("Take away"),
            async () => {
                await ovuser("delete", "--", clock.key);
                if (keptLine(found) && admin.allowed !== false)
                    await forget(found);
                tell("success", format(_("The clock of $0 is taken away."), whose(found)));
            });
    },
});

document.querySelector("#new").addEventListener("click", add);
document.querySelector("#reset").addEventListener("click", () => {
    ask(_("Take all clocks away?"), _("Everybody on this host is back on the real time at once, and no clock is kept."),
        _("Take all away"), async () => {
            await ovuser("reset");
            await forgetAll();
            tell("success", _("All clocks are taken away."));
        });
});
document.querySelector("#filter").addEventListener("input", event => {
    filterBy(event.target.value);
    replot();
});
cockpit.addEventListener("visibilitychange", listen);
admin.addEventListener("changed", () => {
    document.querySelector("#reset").hidden = admin.allowed === false;
    refreshAll();
});
reader.then(refreshAll);
watchKept(refreshAll);

setInterval(() => {
    const moment = steadyNow();
    if (cockpit.hidden || !host.start)
        return;
    tick(moment);
    const now = host.at(moment);
    put(real, dateTime(now, host.offset));
    real.title = real.dateTime = iso(now, host.offset);
    plotAgain(moment);
}, 200);

// Follows the console's theme: light, dark, or the browser's.
const darkness = matchMedia("(prefers-color-scheme: dark)");
function dress() {
    const style = localStorage.getItem("shell:style") || "auto";
    document.documentElement.classList.toggle("pf-theme-dark", style === "dark" || (style === "auto" && darkness.matches));
}
darkness.addEventListener("change", dress);
addEventListener("storage", dress);
addEventListener("cockpit-style", dress);
dress();
document.documentElement.lang = cockpit.language || "en";
cockpit.translate();
listen();
