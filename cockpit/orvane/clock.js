// What a clock shows at any moment, worked out from what the host said of it. Moments are the browser's steady count of
// seconds; its idea of the date plays no part.
const day = 86400;

export function steadyNow() {
    return performance.now() / 1000;
}

function pace(speed) {
    if (speed === 0 || speed > 1000)
        return 0;
    return speed < 0 ? 1 / -speed : speed;
}

function offsetOf(time) {
    const parts = /([+-])(\d\d):(\d\d)$/.exec(time);
    return parts ? (parts[1] === "-" ? -1 : 1) * (parts[2] * 3600 + parts[3] * 60) : 0;
}

function modulo(a, b) {
    return a - b * Math.floor(a / b);
}

export function identityOf(found) {
    const named = found.name && !/^[\s0-9+-]/.test(found.name);
    return found.kind[0] + ":" + (named ? found.name : found.id);
}

export class Clock {
    constructor(found, moment) {
        this.identity = identityOf(found);
        this.take(found, moment);
    }

    // Takes what the host says now. What fits to what was shown so far, to the second that the host cuts off, leaves
    // that as it is, so that nothing jumps.
    take(found, moment) {
        const same = this.found && ["speed", "rewind", "id"].every(name => this.found[name] === found[name]);
        const step = 1 + pace(found.speed);
        const fits = same && Math.abs(this.at(moment) - found.epoch - 0.5 * step) <= step;
        this.found = found;
        this.offset = offsetOf(found.time);
        this.seen = moment;
        if (fits)
            return;
        this.start = found.epoch;
        this.begun = moment;
        this.realStart = found.epoch - found.ahead;
        this.midnight = found.epoch - modulo(found.epoch + this.offset, day);
    }

    at(moment) {
        const value = this.start + (moment - this.begun) * pace(this.found.speed);
        return this.found.rewind ? this.midnight + modulo(value - this.midnight, day) : value;
    }

    realAt(moment) {
        return this.realStart + moment - this.begun;
    }

    aheadAt(moment) {
        return Math.floor(this.at(moment)) - Math.floor(this.realAt(moment));
    }
}

function two(number) {
    return String(Math.floor(number)).padStart(2, "0");
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
