// What a clock shows at any moment, worked out from what the host said of it. Moments are the browser's steady count of
// seconds; its idea of the date plays no part.
export const day = 86400;
export const steadyNow = () => performance.now() / 1000;
export const modulo = (a, b) => a - b * Math.floor(a / b);
const two = number => String(Math.floor(number)).padStart(2, "0");

function offsetOf(time) {
    const parts = /([+-])(\d\d):(\d\d)$/.exec(time);
    return parts ? (parts[1] === "-" ? -1 : 1) * (parts[2] * 3600 + parts[3] * 60) : 0;
}

// As the utility takes it: by number where a name could be taken for one, or had bytes that are no text.
function identityOf(found) {
    const named = found.name && !/^[\s0-9+-]|\ufffd/.test(found.name);
    return found.kind[0] + ":" + (named ? found.name : found.id);
}

// The host's real time, as a listing tells it with each clock.
export const host = {
    start: 0,
    begun: 0,
    offset: 0,
    at: moment => host.start + moment - host.begun,
    take(found, moment) {
        const real = found.epoch - found.ahead;
        host.offset = offsetOf(found.real);
        if (Math.abs(host.at(moment) - real - 1) > 2)
            [host.start, host.begun] = [real, moment];
    },
};

let made = 0;

export class Clock {
    constructor(found) {
        this.colour = "colour" + made++ % 6;
        this.identity = identityOf(found);
        this.number = found.kind[0] + ":" + found.id;
    }

    // Takes what the host says now. What fits to what was shown so far, to the second that the host cuts off, leaves
    // that as it is, so that nothing jumps. Returns whether it did not fit.
    take(found, moment) {
        const same = this.found && this.found.speed === found.speed && this.found.rewind === found.rewind;
        this.found = found;
        this.pace = found.frozen ? 0 : found.speed < 0 ? 1 / -found.speed : found.speed;
        this.offset = offsetOf(found.time);
        this.seen = moment;
        const step = 1 + this.pace;
        if (same && Math.abs(this.at(moment) - found.epoch - 0.5 * step) <= step)
            return false;
        this.start = found.epoch;
        this.begun = moment;
        this.midnight = found.epoch - modulo(found.epoch + this.offset, day);
        return true;
    }

    at(moment) {
        const value = this.start + (moment - this.begun) * this.pace;
        return this.found.rewind ? this.midnight + modulo(value - this.midnight, day) : value;
    }

    aheadAt(moment) {
        return Math.floor(this.at(moment)) - Math.floor(host.at(moment));
    }
}

// ISO 8601 with the offset, for all years that clocks have.
export function iso(epoch, offset) {
    const text = new Date(Math.floor(epoch + offset) * 1000).toISOString().replace(/^\+0*/, "").slice(0, -5);
    const minutes = Math.abs(offset) / 60;
    return text + (offset < 0 ? "-" : "+") + two(minutes / 60) + ":" + two(minutes % 60);
}

export function distance(seconds) {
    const size = Math.abs(seconds);
    const days = Math.floor(size / day);
    const clock = two(size % day / 3600) + ":" + two(size % 3600 / 60) + ":" + two(size % 60);
    return (seconds < 0 ? "−" : "+") + (days ? days + " d " : "") + clock;
}
