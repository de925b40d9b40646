// Messages in place of a missing table.
import { button, icon, make } from "./dom.js";
import { tell } from "./alerts.js";
import { _ } from "./format.js";
import { admin, moduleState, run } from "./host.js";

const place = document.querySelector("#state");
const content = document.querySelector("#content");
let shown = "";

function show(name, symbol, title, words, ...actions) {
    content.hidden = true;
    place.hidden = false;
    if (shown === name) // the reader may be about to click
        return;
    shown = name;
    const body = make("div", { className: "pf-c-empty-state__body" }, ...words.map(text => make("p", {}, text)));
    const state = make("div", { className: "pf-c-empty-state__content" },
                       make("div", { className: "pf-c-empty-state__icon" }, icon(symbol)),
                       make("h1", { className: "pf-c-title pf-m-lg" }, title), body);
    if (actions.length)
        state.append(make("div", { className: "pf-c-empty-state__primary" }, ...actions));
    place.dataset.state = name;
    place.replaceChildren(make("div", { className: "pf-c-empty-state" }, state));
}

export function showContent() {
    content.hidden = false;
    place.hidden = true;
    shown = place.dataset.state = "";
}

export function showNone(set) {
    show("none", "clock", _("No virtual clocks"),
         [_("Everybody on this host sees the real time, as far as you may see.")], button("primary", _("Set a clock"), set));
}

const code = text => make("code", {}, text);

async function load(again) {
    try {
        await run("modprobe", "zynov");
        again();
    } catch (failure) {
        tell("danger", _("The kernel module could not be loaded"), failure.message);
    }
}

// Shows a failure of the watch; again() retries.
export async function showFailure(failure, again) {
    if (failure.problem === "not-found") {
        show("missing", "exclamation-circle", _("ovuser is not installed"),
             [_("Install the package orvane-tools on this host, and this page goes on by itself.")]);
        return;
    }
    const state = failure.problem ? "" : await moduleState();
    if (state === "unloaded")
        show(state, "exclamation-circle", _("The kernel module is not loaded"),
             [_("It is installed, and keeps the virtual clocks once it is loaded.")],
             ...admin.allowed === false ? [] : [button("primary", _("Load the module"), () => load(again))]);
    else if (state === "absent")
        show(state, "exclamation-circle", _("The kernel module is not installed"),
             [_("Virtual clocks are kept by the kernel module zynov, which this host does not have for the kernel that runs."),
              make("span", {}, _("Install its package, and load it with:"), " ", code("modprobe zynov"))]);
    else
        show("failed", "exclamation-circle", _("The clocks cannot be read"), [failure.message],
             button("primary", _("Try again"), again));
}
