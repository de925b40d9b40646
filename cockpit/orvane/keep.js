// The clocks that the host sets when it boots: lines of a file that 'ovuser apply' reads.
/* global cockpit */
import { ovuser, run } from "./host.js";

const file = cockpit.file("/etc/orvane/clocks", { superuser: "try" });
let text = "";
let owners = new Map(); // of the file's lines

// The first word of a line, without shell quotes and backslashes.
function owner(line) {
    let word = "";
    const parts = /^[ \t]*((?:"(?:[^"\\]|\\.)*"|'[^']*'|\\.|[^\s"'\\])*)/.exec(line)[1];
    for (const [, quoted, plain, escaped, other] of parts.matchAll(/"((?:[^"\\]|\\.)*)"|'([^']*)'|\\(.)|(.)/g))
        word += quoted !== undefined ? quoted.replace(/\\(["\\$`])/g, "$1") : plain ?? escaped ?? other;
    return word.startsWith("#") ? "" : word;
}

// The words by which a line can name the clock's owner.
const namings = ({ kind, name, id }) =>
    [kind[0] + ":" + id, ...name ? [kind[0] + ":" + name] : [], ...name && kind === "user" ? [name] : []];
const isFor = (found, line) => namings(found).includes(owner(line));

function hold(content) {
    text = content || "";
    owners = new Map(text.split("\n").map(line => [owner(line), line]));
    return text;
}

export const keptLine = found => namings(found).map(word => owners.get(word)).find(Boolean);

// Calls back when the file changes.
export function watchKept(changed) {
    file.watch(content => {
        hold(content);
        changed();
    });
}

async function change(edit) {
    await file.modify(content => hold(edit(content || "")));
}

const without = (content, found) => content.split("\n").filter(line => !isFor(found, line)).join("\n");

// Keeps the clock, to start again from what it shows now.
export async function keep(found) {
    const line = (await ovuser("save")).split("\n").find(each => isFor(found, each));
    await run("mkdir", "-p", "-m", "755", "/etc/orvane");
    await change(content => without(content, found).replace(/([^\n])$/, "$1\n") + line + "\n");
    await run("systemctl", "enable", "orvane-clocks");
}

export const forget = found => change(content => without(content, found));
export const forgetAll = () => text && change(content => content.replace(/^(?![ \t]*(#|$)).*\n?/gm, ""));
