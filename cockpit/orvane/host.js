// The host, by its utility and a few common commands.
/* global cockpit */
import { _, format } from "./format.js";

export const admin = cockpit.permission({ admin: true });
let me = null;
export const reader = cockpit.user().then(user => me = user);

// Whether the reader may change a clock: the superuser all, others their own and those of processes.
export const mayChange = found => admin.allowed !== false || found.kind === "process" ||
    (found.kind === "user" && me !== null && found.id === me.id);
export const ownName = () => me === null ? "" : me.name;

// The failure of a command: its exit status and message, or the console's reason for not running it.
export class Failure extends Error {
    constructor({ problem, message, exit_status: status }) {
        const words = {
            "not-found": _("The host does not have this command."),
            "access-denied": _("This needs administrative access."),
        };
        const said = (message || "").replace(/^ovuser: (error|hint|warning): /gm, "").trim();
        super(words[problem] || (problem ? format(_("The connection to the host is lost: $0"), problem) : said));
        Object.assign(this, { problem, status });
    }
}

// A lost connection reports no failure and sends nothing.
const patience = 8000; // milliseconds
function silence() {
    return new Promise((_resolve, reject) => setTimeout(reject, patience, { problem: _("it does not answer") }));
}

function spawn(command) {
    return cockpit.spawn(command, { superuser: "try", err: "message", environ: ["LC_ALL=C.UTF-8"] });
}

// The standard output of one call.
export async function run(...command) {
    try {
        return await Promise.race([spawn(command), silence()]);
    } catch (error) {
        throw new Failure(error);
    }
}

export const ovuser = (...args) => run("ovuser", ...args);

// Watches the clocks: calls take(changes) with the changes of each moment, at first with all clocks, and ended(failure)
// at the end. Returns a function that stops the watch.
export function watchClocks(take, ended) {
    let rest = "";
    let begun = false;
    let changes = [];
    const call = spawn(["ovuser", "list", "--watch", "--json"]);
    let open = true;
    const stop = () => {
        open = false;
        clearTimeout(late);
        call.close("terminated"); // without a reason the host waits for its end
    };
    const end = error => {
        if (open) {
            stop();
            ended(new Failure(error || {}));
        }
    };
    const late = setTimeout(end, patience, { problem: _("it does not answer") });
    call.stream(text => {
        const lines = (rest + text).split("\n");
        rest = lines.pop();
        clearTimeout(late);
        changes.push(...lines.map(line => JSON.parse(line)));
        if (begun || changes.some(change => change.change === "real")) {
            take(changes, !begun);
            [begun, changes] = [true, []];
        }
    });
    call.then(() => end(), end);
    return stop;
}

// The reason for a missing table: the kernel module is "absent" or "unloaded", else "".
export async function moduleState() {
    const loaded = await cockpit.file("/proc/modules").read().catch(() => "");
    if (/^zynov /m.test(loaded || ""))
        return "";
    return run("modinfo", "-F", "name", "zynov").then(() => "unloaded", () => "absent");
}

// The names in the first column of a database such as /etc/passwd.
async function names(path) {
    const text = await cockpit.file(path).read().catch(() => "");
    return (text || "").split("\n").map(line => line.split(":")[0]).filter(name => name && !/^[#+-]|^root$/.test(name));
}

export async function processes() {
    const text = await run("ps", "-e", "-o", "pid=,euid=,egid=,comm=").catch(() => "");
    return [...text.matchAll(/^ *(\d+) +(\d+) +(\d+) +(.*)$/gm)].map(([, pid, uid, gid, command]) =>
        ({ pid: Number(pid), uid: Number(uid), gid: Number(gid), command }));
}

// The possible owners of a clock: pairs of a name and a description.
export async function candidates(kind) {
    if (kind === "process")
        return (await processes()).map(({ pid, command }) => [pid, command]);
    return (await names(kind === "user" ? "/etc/passwd" : "/etc/group")).map(name => [name, ""]);
}
