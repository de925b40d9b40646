// The details of a row: when the clock rewinds, which processes use it, when it was set, and whether it is kept.
import { host, keyOf, offsetOf, steadyNow } from "./clock.js";
import { make } from "./dom.js";
import { _, count, dateTime, format, iso, ngettext, span, whose } from "./format.js";
import { ovuser, processes, run } from "./host.js";
import { keptLine } from "./keep.js";

const most = 200; // processes asked for; 10 of them are named

// A real time in the host's zone, with the offset of that time.
async function realTime(epoch) {
    const time = await run("date", "-Iseconds", "-d", "@" + Math.floor(epoch)).catch(() => "");
    return dateTime(epoch, time ? offsetOf(time.trim()) : host.offset);
}

async function turn(clock) {
    const moment = steadyNow();
    const left = clock.untilMidnight(moment);
    return clock.rate === 0 ? _("Never: it stands still.")
        : format(_("$0 real time, in $1"), await realTime(host.at(moment) + left), span(left));
}

// The processes that use this clock, by the utility.
async function followers({ kind, id }) {
    const near = (await processes()).filter(({ pid, uid, gid }) => kind === "process" ? pid === id
        : kind === "user" ? uid === id : gid === id);
    if (near.length === 0)
        return _("No process at the moment");
    const asked = near.slice(0, most);
    const shown = JSON.parse(await ovuser("show", "--json", "--", ...asked.map(({ pid }) => "p:" + pid)));
    const living = asked.filter((_each, place) => shown[place].clock && keyOf(shown[place].clock) === kind[0] + ":" + id);
    const named = living.slice(0, 10).map(({ pid, command }) => `\u2068${command}\u2069 (${pid})`).join(", ");
    const more = near.length > most ? "+" : "";
    const total = format(ngettext("$0 process", "$0 processes", living.length), count(living.length) + more);
    return living.length > 10 ? `${total}: ${named}, …` : living.length > 0 ? `${total}: ${named}` : _("No process at the moment");
}

// The last line in the host's log about the setting of this clock.
async function since({ kind, id }) {
    const log = await run("journalctl", "-q", "-t", "ovuser", "-n", "5000", "-o", "json", "--output-fields=MESSAGE",
                          "--no-pager").catch(() => "");
    const start = `add for=${kind[0]}:${id}`;
    const lines = log.split("\n").filter(line => line.includes(start)).map(line => JSON.parse(line))
        .filter(({ MESSAGE: text }) => typeof text === "string" && text.startsWith(start) &&
            /^[ (]/.test(text.slice(start.length)) && / result=done$/.test(text));
    const last = lines.pop();
    if (!last)
        return _("The host's log does not say");
    const by = / by=\d+\(([^)]*)\)/.exec(last.MESSAGE);
    const time = await realTime(last.__REALTIME_TIMESTAMP / 1e6);
    return by ? format(_("$0, by $1"), time, "\u2068" + by[1] + "\u2069") : time;
}

async function exceptions({ kind, id }) {
    const [shown] = JSON.parse(await ovuser("show", "--json", "--", kind[0] + ":" + id));
    return shown.overruled_by.map(whose).join(", ");
}

function line(term, words) {
    const text = make("div", { className: "pf-c-description-list__text" }, words);
    const group = make("div", { className: "pf-c-description-list__group" },
                       make("dt", { className: "pf-c-description-list__term" },
                            make("span", { className: "pf-c-description-list__text" }, term)),
                       make("dd", { className: "pf-c-description-list__description" }, text));
    return [group, text];
}

export function makeDetails(clock) {
    const { found } = clock;
    const [midnight, then] = line(found.rewind ? _("Goes back to its date") : _("Its next midnight"), "…");
    const [living, who] = line(_("Lives by it"), "…");
    const [except, others] = line(_("Has a clock of its own instead"), "…");
    const [start, when] = line(_("Set at"), "…");
    const [zone] = line(_("Shows, with its offset"), iso(clock.at(steadyNow()), clock.offset));
    const list = make("dl", { className: "pf-c-description-list pf-m-2-col-on-lg" }, midnight, living, start, zone);
    const kept = keptLine(found);
    if (kept)
        list.append(line(_("Kept as"), make("code", {}, kept))[0]);
    const unknown = () => _("Cannot be told at the moment");
    turn(clock).then(text => then.textContent = text);
    followers(found).catch(unknown).then(text => who.textContent = text);
    since(found).catch(unknown).then(text => when.textContent = text);
    exceptions(found).catch(() => "").then(text => {
        others.textContent = text;
        if (text)
            list.append(except);
    });
    return list;
}
