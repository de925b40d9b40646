// The dialog that sets a clock, with the utility's preview of it.
import { Clock, host, steadyNow } from "./clock.js";
import { make, put } from "./dom.js";
import { openDialog } from "./dialog.js";
import { _, dateTime, format, iso, kindWords, nameOf, speedWords, whose } from "./format.js";
import { admin, candidates, ovuser, ownName } from "./host.js";
import { forget, keep, keptLine } from "./keep.js";

const distances = /^\s*([+-]?\d+\s*[ywdhms]\s*)+$/;

function field(id, label, help, ...controls) {
    const described = make("div", { className: "pf-c-form__helper-text", id: id + "-help" }, help);
    for (const control of controls)
        control.setAttribute("aria-describedby", id + "-help");
    return make("div", { className: "pf-c-form__group", id: id + "-group" },
                make("div", { className: "pf-c-form__group-label" },
                     make("label", { className: "pf-c-form__label", htmlFor: id },
                          make("span", { className: "pf-c-form__label-text" }, label))),
                make("div", { className: "pf-c-form__group-control" },
                     make("div", { className: "controls" }, ...controls), described));
}

function input(id, properties = {}) {
    return make("input", { id, className: "pf-c-form-control", autocomplete: "off", spellcheck: false, ...properties });
}

function select(id, label, choices, chosen) {
    const options = choices.map(([value, text]) => new Option(text, value, value === chosen, value === chosen));
    return make("select", { id, className: "pf-c-form-control", ariaLabel: label }, ...options);
}

function check(id, label, checked, help) {
    return make("div", { className: "pf-c-form__group" },
                make("div", { className: "pf-c-check" },
                     make("input", { id, type: "checkbox", className: "pf-c-check__input", checked,
                                     ":aria-describedby": id + "-help" }),
                     make("label", { className: "pf-c-check__label", htmlFor: id }, label),
                     make("span", { className: "pf-c-check__description", id: id + "-help" }, help)));
}

// The controls, for a new or an existing clock.
class Controls {
    constructor(clock) {
        this.clock = clock;
        const speed = clock ? clock.found.frozen ? 0 : clock.found.speed : 1;
        const real = iso(host.at(steadyNow()), host.offset);
        const kinds = Object.entries(kindWords).filter(([kind]) => admin.allowed !== false || kind !== "group");
        this.kind = select("kind", _("Kind"), kinds, "user");
        this.name = input("name", { ":list": "names", required: true, ":placeholder": _("name or number"),
                                    value: admin.allowed === false ? ownName() : "" });
        this.names = make("datalist", { id: "names" });
        this.from = select("from", _("Where it starts"), [
            ...clock ? [["kept", _("goes on from what it shows")]] : [],
            ["at", _("a date and time")], ["in", _("a distance from now")], ["now", _("now")]], clock ? "kept" : "at");
        this.at = input("at", { type: "datetime-local", step: 1, min: "1970-01-02T00:00", max: "9999-12-31T00:00",
                                value: real.slice(0, 16), ariaLabel: _("Date and time") });
        this.in = input("in", { ":placeholder": "1y 2d -3h", ariaLabel: _("Distance") });
        this.speed = select("speed", _("Speed"), [["1", _("normal")], ["0", _("stands still")], ["faster", _("faster")],
                                                  ["slower", _("slower")]],
                            speed > 1 ? "faster" : speed < -1 ? "slower" : String(Math.abs(speed)));
        this.times = input("times", { type: "number", min: 2, max: 1000, value: Math.max(2, Math.abs(speed)),
                                      ariaLabel: _("How many times") });
        this.rewind = check("rewind", _("Goes back to its date at midnight"), clock?.found.rewind || false,
                            _("Every day is the same one."));
        this.keep = check("keep", _("Keep after a restart of the host"), clock ? Boolean(keptLine(clock.found)) : false,
                          _("It then starts again from what it shows now."));
        this.preview = make("p", { id: "preview", ":aria-live": "polite" });
    }

    body() {
        const who = field("name", _("For"), "", this.kind, this.name);
        who.append(this.names);
        if (this.clock)
            who.hidden = true;
        const speedHelp = _("From 2 to 1000 times.");
        const body = [who, field("from", _("Starts at"), "", this.from, this.at, this.in),
                      field("speed", _("Speed"), speedHelp, this.speed, this.times), this.rewind];
        if (admin.allowed !== false && this.clock?.found.kind !== "process")
            body.push(this.keep);
        return [...body, this.preview];
    }

    // Shows only the controls that fit the choice.
    arrange() {
        this.at.hidden = this.from.value !== "at";
        this.in.hidden = this.from.value !== "in";
        this.times.hidden = !/er$/.test(this.speed.value);
        this.keep.hidden = this.kind.value === "process";
        const zone = iso(0, host.offset).slice(19);
        put(document.querySelector("#from-help"), this.from.value === "at" ? format(_("In the host's zone, now $0."), zone)
            : this.from.value === "in" ? _("Years y, weeks w, days d, hours h, minutes m and seconds s; negative for the past.")
            : "");
        document.querySelector("#speed-help").hidden = this.times.hidden;
    }

    identity() {
        return this.clock ? this.clock.key : this.kind.value[0] + ":" + this.name.value.trim();
    }

    words() {
        const start = { kept: [], at: ["--at=" + this.at.value], in: ["--in=" + this.in.value.trim()], now: ["--at=now"] };
        const speed = { 0: "frozen", 1: "1", faster: this.times.value, slower: "-" + this.times.value };
        return [...start[this.from.value], "--speed=" + speed[this.speed.value],
                this.rewind.querySelector("input").checked ? "--rewind" : "--no-rewind", "--", this.identity()];
    }

    kept() {
        return this.keep.isConnected && !this.keep.hidden && this.keep.querySelector("input").checked;
    }

    // Finds faults before asking the utility: the control, and the reason.
    fault() {
        if (!this.clock && !this.name.value.trim())
            return [this.name, ""];
        if (this.from.value === "at" && !this.at.value)
            return [this.at, _("This is no date and time.")];
        if (this.from.value === "in" && !distances.test(this.in.value))
            return [this.in, this.in.value ? _("This is no distance, such as 1y 2d or -90m.") : ""];
        if (!this.times.hidden && !/^([2-9]|[1-9]\d{1,2}|1000)$/.test(this.times.value))
            return [this.times, _("This is no whole number from 2 to 1000.")];
        return null;
    }

    // Finds the control at fault by the exit status.
    explain({ status }) {
        const reasons = {
            2: [this.name, { user: _("There is no such user, or it is root, which keeps the real time."),
                             group: _("There is no such group, or it is root's, which keeps the real time."),
                             process: _("There is no such process.") }[this.kind.value]],
            3: [this.times, _("This is no whole number from 2 to 1000.")],
            4: [this.from.value === "in" ? this.in : this.at, _("No clock can show this time.")],
        };
        return this.clock && status === 2 ? null : reasons[status] || null;
    }

    show(fault) {
        for (const control of [this.name, this.at, this.in, this.times]) {
            const wrong = fault !== null && fault[0] === control && fault[1] !== "";
            control.setAttribute("aria-invalid", wrong);
        }
        put(this.preview, fault ? fault[1] : "");
        this.preview.classList.toggle("wrong", fault !== null);
    }
}

function foretell({ to, from }) {
    const clock = new Clock({ kind: "user", ...to });
    clock.take({ ...to }, 0);
    const time = to.time === null ? "@" + to.epoch : dateTime(to.epoch, clock.offset);
    const words = to.frozen ? _("It will show $0, and stand still.") : _("It will show $0, from when you set it.");
    const before = from ? " " + format(_("Now it shows $0."), dateTime(from.epoch, clock.offset)) : "";
    return format(words, time) + before;
}

// Sets the clock that the controls describe, keeps it for the next boot or not, and returns it.
async function give(controls) {
    const fault = controls.fault();
    if (fault)
        throw Object.assign(new Error(fault[1]), { fault });
    await ovuser("set", ...controls.words());
    const [shown] = JSON.parse(await ovuser("show", "--json", "--", controls.identity()));
    const found = shown.clock && shown.lives_by === "own" ? shown.clock : { kind: shown.kind, id: shown.id };
    if (controls.kept())
        await keep(found);
    else if (keptLine(found))
        await forget(found);
    return found;
}

// Opens for a new or an existing clock. Calls done(outcome) after the clock is set.
export function openSettings(clock, done) {
    const controls = new Controls(clock);
    let asked = 0;
    let waiting = 0;
    const rehearse = async () => {
        const mine = ++asked;
        const fault = controls.fault();
        controls.show(fault);
        if (fault)
            return;
        try {
            const outcome = JSON.parse(await ovuser("set", "--dry-run", "--json", ...controls.words()));
            const [plan] = [...outcome.added, ...outcome.changed];
            if (mine === asked && plan) // else the answer is to an earlier choice
                put(controls.preview, foretell(plan));
        } catch (failure) {
            if (mine === asked)
                controls.show(controls.explain(failure) || [null, failure.message]);
        }
    };
    let outcome = null;
    const tell = failure => {
        const fault = failure.fault || controls.explain(failure);
        if (fault) {
            controls.show([fault[0], fault[1] || _("Something is missing here.")]);
            fault[0].focus();
        }
        return Boolean(fault);
    };
    const title = clock ? format(_("Clock of $0"), whose(clock.found)) : _("Set a clock");
    const dialog = openDialog({ title, body: controls.body(), actionText: clock ? _("Save") : _("Set"), tell,
                                action: async () => { outcome = await give(controls); },
                                closed: () => outcome && done(outcome) }); // may then move the focus
    const fill = async () => {
        const options = (await candidates(controls.kind.value)).map(([name, label]) => new Option(label, name));
        controls.names.replaceChildren(...options);
    };
    dialog.addEventListener("input", event => {
        if (event.target === controls.kind)
            fill();
        controls.arrange();
        clearTimeout(waiting);
        waiting = setTimeout(rehearse, 250);
    });
    controls.arrange();
    if (clock)
        rehearse();
    else
        fill();
    (clock ? controls.from : controls.name).focus();
}
