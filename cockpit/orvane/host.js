// The host, by way of its utility alone. What it says of a failure is what people are shown.
/* global cockpit */

const words = {
    "not-found": "ovuser is not installed on this host: install the package orvane-tools.",
    "access-denied": "This needs administrative access, which you do not have here.",
};

function failure({ problem, message }) {
    const lost = problem ? `The connection to the host is lost: ${problem}.` : "";
    return new Error(words[problem] || lost || (message || "ovuser failed without a word").trim());
}

// Over a connection that is gone nothing fails, and nothing comes.
function silence() {
    return new Promise((_resolve, reject) => setTimeout(reject, 8000, { problem: "it does not answer" }));
}

// Standard output of one call; an Error when it ends with another status than 0.
export async function ovuser(...args) {
    const call = cockpit.spawn(["ovuser", ...args], { superuser: "try", err: "message",
                                                     environ: ["LC_ALL=C.UTF-8"] });
    try {
        return await Promise.race([call, silence()]);
    } catch (error) {
        throw failure(error);
    }
}

// The words of a call, and the class that they are shown in.
export function outcomeOf(call) {
    return call.then(said => [said.trim(), ""], failure => [failure.message, "failed"]);
}

export async function listClocks() {
    return JSON.parse(await ovuser("list", "--json"));
}

// The names in the first column of a database such as /etc/passwd.
async function names(path) {
    const text = await cockpit.file(path).read().catch(() => "");
    return (text || "").split("\n").map(line => line.split(":")[0]).filter(name => name && !/^[#+-]/.test(name));
}

function processes() {
    return new Promise(resolve => {
        const found = [];
        const channel = cockpit.channel({ payload: "fslist1", path: "/proc", watch: false });
        channel.addEventListener("message", (_event, data) => {
            const entry = JSON.parse(data);
            if (/^[1-9][0-9]*$/.test(entry.path))
                found.push("p:" + entry.path);
        });
        channel.addEventListener("close", () => resolve(found));
    });
}

// Whom a clock can be set for, as far as the host's own files tell.
export async function identities() {
    const [users, groups, pids] = await Promise.all([names("/etc/passwd"), names("/etc/group"), processes()]);
    return [...users.map(name => "u:" + name), ...groups.map(name => "g:" + name), ...pids];
}
