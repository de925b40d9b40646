#include "ovuser/clocks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ovuser/command.h"

namespace ovuser
{

Clocks::Clocks() : descriptor_(open("/proc/zynov", O_RDONLY | O_CLOEXEC)), error_(errno) {}

Clocks::~Clocks()
{
    if (are_open())
        close(descriptor_);
}

const ov_clock *Clocks::next()
{
    if (!are_open() || outcome_ < 0)
        return nullptr;
    outcome_ = ov_next_clock(descriptor_, static_cast<int>(getuid()), &clock_);
    error_ = errno;
    return outcome_ > 0 ? &clock_ : nullptr;
}

int Clocks::conclude() const
{
    char text[256];
    if (!are_open()) {
        snprintf(text, sizeof text, "ovuser: error: Open of /proc/zynov failed; error = %d\n", error_);
        return ovuser::conclude(OV_NO_CONTROL_FILE, strdup(text), nullptr, error_);
    }
    if (outcome_ < 0 && clock_.begun == 0) {
        snprintf(text, sizeof text,
                 "ovuser: error: Orvane kernel module not installed properly or version mismatch(%s).\n",
                 strerror(error_));
        return ovuser::conclude(outcome_, strdup(text));
    }
    if (outcome_ < 0) {
        snprintf(text, sizeof text, "ovuser: error: an error occurred while executing this request, error = %d\n",
                 error_);
        return ovuser::conclude(outcome_, strdup(text), nullptr, error_);
    }
    if (clock_.undecided == 0)
        return done;
    fprintf(stderr, "ovuser: warning: clocks of which it cannot be told whether they are yours: %d\n",
            clock_.undecided);
    return not_carried_out;
}

// Every call that reads the time may be shown the caller's virtual clock. The kernel stamps what it makes, such as a
// pipe, with the real time.
time_t real_time()
{
    int ends[2];
    struct stat made;
    if (pipe2(ends, O_CLOEXEC) != 0)
        return time(nullptr);
    const bool stamped = fstat(ends[0], &made) == 0;
    close(ends[0]);
    close(ends[1]);
    return stamped ? made.st_mtime : time(nullptr);
}

char letter_of(const ov_clock &clock)
{
    return clock.kind == OV_USER ? 'u' : clock.kind == OV_GROUP ? 'g' : 'p';
}

bool is_frozen(const ov_clock &clock)
{
    return clock.speed == OV_SPEED_FROZEN || clock.speed > OV_SPEED_LIMIT;
}

void write_clock(Json &json, const ov_clock &clock, time_t real)
{
    json.text("kind", clock.kind == OV_USER ? "user" : clock.kind == OV_GROUP ? "group" : "process");
    json.number("id", clock.id);
    clock.named > 0 ? json.text("name", clock.name) : json.null("name");
    const Rfc3339 time(clock.value);
    time.text[0] != '\0' ? json.text("time", time.text) : json.null("time");
    json.number("epoch", clock.value);
    json.number("ahead", static_cast<int64_t>(static_cast<uint64_t>(clock.value) - static_cast<uint64_t>(real)));
    json.number("speed", clock.speed);
    json.text("speed_text", clock_speed_string(clock.speed));
    json.truth("frozen", is_frozen(clock));
    json.truth("rewind", clock.rewind != 0);
    clock.origin != 0 ? json.number("origin", clock.origin) : json.null("origin");
}

} // namespace ovuser
