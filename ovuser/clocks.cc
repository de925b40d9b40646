#include "ovuser/clocks.h"

#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/container_files.h"
#include "base/failures.h"
#include "ovuser/message.h"

namespace ovuser
{

static int open_control()
{
    return open("/proc/zynov", O_RDONLY | O_CLOEXEC);
}

// Stores the path of the simulator's table; null if the control file is the kernel's.
static void find_simulator(int control, char *path, size_t room)
{
    constexpr long proc = 0x9fa0; // PROC_SUPER_MAGIC of Linux's headers, which musl does not come with
    char link[32];
    struct statfs where;
    snprintf(link, sizeof link, "/proc/self/fd/%d", control);
    const bool simulated = fstatfs(control, &where) == 0 && where.f_type != proc;
    const ssize_t length = simulated ? readlink(link, path, room - 1) : 0;
    path[std::max<ssize_t>(length, 0)] = '\0';
}

void Clocks::read()
{
    const int control = open_control();
    error_ = errno;
    if (control < 0) {
        failed_ = Step::open;
        return;
    }
    find_simulator(control, simulated_in_, sizeof simulated_in_);
    ov_clock clock = {};
    int outcome = 0;
    do {
        outcome = ov_next_clock(control, static_cast<int>(getuid()), &clock);
    } while (outcome > 0 && clocks_.add(clock) != nullptr);
    error_ = errno;
    if (outcome != 0)
        failed_ = clock.begun == 0 ? Step::begin : Step::slot;
    undecided_ = clock.undecided;
    close(control);
}

const ov_clock *Clocks::find(int32_t kind, uint32_t id) const
{
    for (const ov_clock &clock : *this)
        if (clock.kind == kind && clock.id == id)
            return &clock;
    return nullptr;
}

bool Clocks::reread(const ov_clock &clock, ov_clock &now) const
{
    const int control = open_control();
    if (control < 0)
        return false;
    if (&clock == begin())
        now = {};
    else
        now = *(&clock - 1); // its successor is this clock
    const bool stepped = ov_next_clock(control, static_cast<int>(getuid()), &now) > 0;
    close(control);
    return stepped && now.kind == clock.kind && now.id == clock.id;
}

int Clocks::report_failure() const
{
    if (failed_ != Step::none) {
        char text[256];
        if (failed_ == Step::open)
            snprintf(text, sizeof text, ov::not_opened, error_);
        else if (failed_ == Step::begin)
            snprintf(text, sizeof text, ov::no_answer, strerror(error_));
        else
            snprintf(text, sizeof text, ov::not_executed, error_);
        return print_result(failed_ == Step::open ? int{OV_NO_CONTROL_FILE} : -1, strdup(text), nullptr, error_);
    }
    if (undecided_ == 0)
        return done;
    warn("clocks of which it cannot be told whether they are yours: %d", undecided_);
    return failure;
}

bool ClockFilter::matches(const ov_clock &clock)
{
    if (kind != 0 && kind != clock.kind)
        return false;
    bool among = identities.count() == 0;
    for (Identity &identity : identities)
        if (identity.kind == clock.kind && identity.id == clock.id)
            identity.met = among = true;
    return among;
}

bool all_met(const IdentityList &identities)
{
    return std::all_of(identities.begin(), identities.end(), [](const Identity &identity) { return identity.met; });
}

int report_unmet(const IdentityList &identities)
{
    for (const Identity &identity : identities) {
        if (!identity.met) // an ordinary caller cannot see the clocks of others
            warn("%s does not have a virtual clock%s", identity.text, getuid() == 0 ? "" : " that you may see");
    }
    return all_met(identities) ? done : check_rc(OV_NO_CLOCK);
}

int64_t seconds_ahead(const ov_clock &clock, time_t real)
{
    return static_cast<int64_t>(static_cast<uint64_t>(clock.value) -
                                static_cast<uint64_t>(real)); // without signed overflow
}

bool is_frozen(const ov_clock &clock)
{
    return clock.speed == OV_SPEED_FROZEN || clock.speed > OV_SPEED_LIMIT;
}

ClockText::ClockText(int64_t value, int32_t speed, int32_t rewind, uint32_t passed_on)
{
    snprintf(text, sizeof text, "%s, %s%s%s", TimeText(value).text, clock_speed_string(speed),
             rewind != 0 ? ", rewinding at midnight" : "", passed_on != 0 ? ", passed on to its descendants" : "");
}

uint32_t passed_on_by(const ov_clock &clock)
{
    ov_refined refined;
    const bool known = clock.kind == OV_PROCESS && ov_refined_clock(clock.kind, clock.id, &refined) == 0;
    ov::close_left_open();
    return known && refined.generations == 0 ? refined.what & (OV_REFINE_DESCENDANTS | OV_REFINE_LASTING) : 0;
}

void print_identity(FILE *stream, const ov_clock &clock, int columns)
{
    fprintf(stream, "%c:", *kind_word(clock.kind));
    print_visible(stream, Quoted(clock.name).text, columns - 2);
}

void write_owner(Json &json, const ov_clock &clock)
{
    json.text("kind", kind_word(clock.kind));
    json.number("id", clock.id);
    json.text("name", clock.named > 0 ? clock.name : nullptr);
}

void write_clock(Json &json, const ov_clock &clock, time_t real)
{
    write_owner(json, clock);
    write_clock_state(json, clock, real, passed_on_by(clock) != 0);
}

void write_clock_state(Json &json, const ov_clock &clock, time_t real, bool descendants)
{
    const TimeText time(clock.value);
    json.text("time", time.has_date ? time.text : nullptr);
    json.number("epoch", clock.value);
    json.number("ahead", seconds_ahead(clock, real));
    json.text("real", TimeText(real).text);
    json.number("speed", clock.speed);
    json.text("speed_text", clock_speed_string(clock.speed));
    json.boolean("frozen", is_frozen(clock));
    json.boolean("rewind", clock.rewind != 0);
    if (clock.origin != 0)
        json.number("origin", clock.origin);
    else
        json.null("origin");
    json.boolean("descendants", descendants);
}

} // namespace ovuser
