// Computes what a clock shows at any moment from the host's record of it. Moments are the browser's monotonic seconds;
// the browser's date is not used.
export const day = 86400;
export const steadyNow = () => performance.now() / 1000;
export const modulo = (a, b) => a - b * Math.floor(a / b);

export function offsetOf(time) {
    const parts = /([+-])(\d\d):(\d\d)$/.exec(time);
    return parts ? (parts[1] === "-" ? -1 : 1) * (parts[2] * 3600 + parts[3] * 60) : 0;
}

export const keyOf = ({ kind, id }) => kind[0] + ":" + id;

// The identity for the utility: a number if the name looks like one or is not valid text.
function identityOf(found) {
    const named = found.name && !/^[\s0-9+-]|\ufffd/.test(found.name);
    return found.kind[0] + ":" + (named ? found.name : found.id);
}

// The host's real time.
export const host = {
    start: 0,
    begun: 0,
    offset: 0,
    at: moment => host.start + moment - host.begun,
    take(epoch, real, moment) {
        host.offset = offsetOf(real);
        if (Math.abs(host.at(moment) - epoch - 1) > 2)
            [host.start, host.begun] = [epoch, moment];
    },
};

let made = 0;

export class Clock {
    constructor(found) {
        this.colour = "colour" + made++ % 6;
        this.identity = identityOf(found);
        this.key = keyOf(found);
    }

    // Takes the host's new values. If they match the shown ones within the second that the host cuts off, the shown
    // ones stay, so that nothing jumps.
    take(found, moment) {
        const same = this.found && this.found.speed === found.speed && this.found.rewind === found.rewind;
        this.found = found;
        this.rate = found.frozen ? 0 : found.speed < 0 ? 1 / -found.speed : found.speed;
        this.offset = offsetOf(found.time);
        const step = 1 + this.rate;
        if (same && Math.abs(this.at(moment) - found.epoch - 0.5 * step) <= step)
            return;
        // The host cuts the same part of a second off both times: a clock without an offset shows the real time.
        const cut = host.at(moment) - (found.epoch - found.ahead);
        this.start = found.epoch + (cut >= 0 && cut < 2 ? cut * this.rate : 0);
        this.begun = moment;
        this.midnight = found.epoch - modulo(found.epoch + this.offset, day);
    }

    at(moment) {
        const value = this.start + (moment - this.begun) * this.rate;
        return this.found.rewind ? this.midnight + modulo(value - this.midnight, day) : value;
    }

    aheadAt(moment) {
        return Math.floor(this.at(moment)) - Math.floor(host.at(moment));
    }

    // Seconds until the clock's next midnight; never for a frozen clock.
    untilMidnight(moment) {
        return (day - modulo(this.at(moment) + this.offset, day)) / this.rate;
    }
}
