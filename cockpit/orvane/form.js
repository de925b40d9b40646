// The form that sets a clock, with ovuser's own rehearsal as a preview.
import { identities, outcomeOf, ovuser } from "./host.js";

const form = document.querySelector("#set");
const preview = document.querySelector("#preview");
let waiting = 0;
let asked = 0;

function settings() {
    const { at, speed, rewind, identity } = form.elements;
    const words = [];
    if (at.value.trim())
        words.push("--at=" + at.value.trim());
    if (speed.value.trim())
        words.push("--speed=" + speed.value.trim());
    words.push(rewind.checked ? "--rewind" : "--no-rewind");
    return [...words, "--", identity.value.trim()];
}

async function rehearse() {
    const mine = ++asked;
    const said = form.elements.identity.value.trim()
        ? await outcomeOf(ovuser("set", "--dry-run", ...settings())) : ["", ""];
    if (mine === asked) // an answer to what was typed before is late
        [preview.textContent, preview.className] = said;
}

export function changeInForm(clock) {
    const { identity, at, speed, rewind } = form.elements;
    identity.value = clock.identity;
    at.value = "";
    speed.value = clock.found.frozen ? "frozen" : clock.found.speed;
    rewind.checked = clock.found.rewind;
    rehearse();
    at.focus();
}

export function prepareForm(act) {
    form.addEventListener("input", () => {
        clearTimeout(waiting);
        waiting = setTimeout(rehearse, 250);
    });
    document.querySelector("#pick").addEventListener("input", event => {
        form.elements.at.value = event.target.value;
    });
    form.addEventListener("submit", event => {
        event.preventDefault();
        act(() => ovuser("set", ...settings()));
    });
    form.elements.identity.addEventListener("focus", async () => {
        const options = (await identities()).map(identity => new Option(identity, identity));
        document.querySelector("#identities").replaceChildren(...options);
    });
}
