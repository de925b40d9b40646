#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "ovuser/clocks.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

static double rate_of(const ov_clock &clock)
{
    return is_frozen(clock) ? 0 : clock.speed < 0 ? -1.0 / clock.speed : clock.speed;
}

static long offset_of(time_t instant)
{
    struct tm local;
    return localtime_r(&instant, &local) != nullptr ? local.tm_gmtoff : 0;
}

// The real time when the table was read, and CLOCK_MONOTONIC in seconds before and after.
struct Sample {
    double before;
    time_t real;
    double after;
};

// What a clock showed when CLOCK_MONOTONIC was 0, as a range. Each sample narrows the range.
class Anchor
{
  public:
    // Whether a sample fits all earlier ones.
    bool fits(int64_t value, double rate, const Sample &sample)
    {
        const auto shown = static_cast<double>(value);
        least_ = std::max(least_, shown - rate * sample.after);
        most_ = std::min(most_, shown + 1 + rate - rate * sample.before);
        return least_ <= most_;
    }

  private:
    double least_ = -1e30, most_ = 1e30;
};

// A clock as it was last reported.
struct ReportedClock {
    ov_clock clock;
    long offset; // of the zone at the clock's time, which daylight saving time changes
    Anchor anchor;
    bool met; // seen in this sample
};

class Changes
{
  public:
    // Reports what has changed. Returns false without memory.
    bool tell(const Clocks &clocks, ClockFilter &filter, const Sample &sample);

  private:
    ReportedClock *find(const ov_clock &clock);
    void tell_gone();
    void tell_real(const Sample &sample);

    Array<ReportedClock> told_;
    size_t next_ = 0; // where the next clock is if nothing has changed
    Anchor real_;
    bool began_ = false;
};

ReportedClock *Changes::find(const ov_clock &clock)
{
    for (size_t i = 0; i < told_.count(); ++i, ++next_) {
        ReportedClock &told = told_[next_ %= told_.count()];
        if (told.clock.kind == clock.kind && told.clock.id == clock.id) {
            ++next_;
            return &told;
        }
    }
    return nullptr;
}

static void begin_line(Json &json, const char *change)
{
    json.open('{');
    json.text("change", change);
}

static void end_line(Json &json)
{
    json.close('}');
    fputc('\n', stdout);
}

void Changes::tell_gone()
{
    size_t left = 0;
    for (const ReportedClock &told : told_) {
        if (told.met) {
            told_[left++] = told;
            continue;
        }
        Json json(stdout, Json::on_one_line);
        begin_line(json, "gone");
        write_owner(json, told.clock);
        end_line(json);
    }
    told_.shorten(left);
}

void Changes::tell_real(const Sample &sample)
{
    if (real_.fits(sample.real, 1, sample) && began_)
        return;
    real_ = {};
    real_.fits(sample.real, 1, sample);
    began_ = true;
    Json json(stdout, Json::on_one_line);
    begin_line(json, "real");
    json.text("real", TimeText(sample.real).text);
    json.number("epoch", sample.real);
    end_line(json);
}

static bool is_same(ReportedClock &told, const ov_clock &clock, const Sample &sample)
{
    return told.clock.speed == clock.speed && told.clock.rewind == clock.rewind && told.clock.origin == clock.origin &&
           told.offset == offset_of(clock.value) && told.anchor.fits(clock.value, rate_of(clock), sample);
}

bool Changes::tell(const Clocks &clocks, ClockFilter &filter, const Sample &sample)
{
    for (ReportedClock &told : told_)
        told.met = false;
    for (const ov_clock &clock : clocks) {
        if (!filter.matches(clock))
            continue;
        ReportedClock *told = find(clock);
        const bool same = told != nullptr && is_same(*told, clock, sample);
        if (told == nullptr && (told = told_.add({})) == nullptr)
            return false;
        told->met = true;
        if (same)
            continue;
        *told = {clock, offset_of(clock.value), {}, true};
        told->anchor.fits(clock.value, rate_of(clock), sample);
        Json json(stdout, Json::on_one_line);
        begin_line(json, "set");
        write_clock(json, clock, sample.real);
        end_line(json);
    }
    tell_gone();
    tell_real(sample);
    fflush(stdout);
    return true;
}

// Checks for a closed pipe, which would otherwise go unnoticed until the next change.
static bool somebody_reads()
{
    pollfd output = {STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 0 && output_works();
}

int report_changes(ClockFilter &filter, int64_t interval)
{
    const auto seconds = [] { return static_cast<double>(monotonic_time()) / 1e9; };
    Changes changes;
    do {
        Sample sample = {seconds(), 0, 0};
        Clocks clocks;
        clocks.read();
        sample.real = real_time();
        sample.after = seconds();
        if (!clocks.complete())
            return clocks.report_failure();
        if (!changes.tell(clocks, filter, sample))
            return failed("no memory");
        const timespec time = {interval / 1'000'000'000, interval % 1'000'000'000};
        nanosleep(&time, nullptr);
    } while (somebody_reads());
    return done;
}

} // namespace ovuser
