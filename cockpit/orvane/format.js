// Formats clocks in words, and times in the reader's language.
/* global cockpit */
import { day } from "./clock.js";

export const _ = cockpit.gettext;
export const { format, ngettext } = cockpit;

// The console's language in the browser's regional variant, such as de-AT.
const language = (cockpit.language || "en").replace("_", "-");
const locale = navigator.languages.find(each => each.split("-")[0] === language.split("-")[0]) || language;
const written = new Intl.DateTimeFormat(locale, { weekday: "short", year: "numeric", month: "short", day: "numeric",
                                                  hour: "numeric", minute: "2-digit", second: "2-digit", timeZone: "UTC" });
const number = new Intl.NumberFormat(locale);

export const dateTime = (epoch, offset) => written.format(Math.floor(epoch + offset) * 1000);
export const count = value => number.format(value);

const two = value => String(Math.floor(value)).padStart(2, "0");

// ISO 8601 with the offset, for all years of clocks.
export function iso(epoch, offset) {
    const text = new Date(Math.floor(epoch + offset) * 1000).toISOString().replace(/^\+0*/, "").slice(0, -5);
    const minutes = Math.abs(offset) / 60;
    return text + (offset < 0 ? "-" : "+") + two(minutes / 60) + ":" + two(minutes % 60);
}

export function span(seconds) {
    const size = Math.abs(seconds);
    const days = Math.floor(size / day);
    const clock = two(size % day / 3600) + ":" + two(size % 3600 / 60) + ":" + two(size % 60);
    return days ? format(ngettext("$0 day $1", "$0 days $1", days), count(days), clock) : clock;
}

export const distance = seconds => (seconds < 0 ? "−" : "+") + span(seconds);

export function speedWords({ frozen, speed }) {
    if (frozen)
        return _("Stands still");
    if (Math.abs(speed) === 1)
        return _("Normal");
    return speed > 0 ? format(_("$0 times faster"), count(speed)) : format(_("$0 times slower"), count(-speed));
}

export const kindWords = { user: _("user"), group: _("group"), process: _("process") };
export const nameOf = ({ name, id }) => name === null || name === undefined ? String(id) : name;

// In the middle of a sentence.
export function whose(found) {
    const words = { user: _("user $0"), group: _("group $0"), process: _("process $0") };
    return format(words[found.kind], "\u2068" + nameOf(found) + "\u2069");
}
