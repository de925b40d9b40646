#include <algorithm>
#include <cstddef>

#include "simulator/raw/system_call.h"
#include "simulator/table/table.h"

namespace sim
{

Instants read_instants()
{
    return instants_by([](clockid_t source) {
        timespec time = {};
        system_call(SYS_clock_gettime, source, &time);
        return time;
    });
}

int64_t interval_speed(int64_t clock_speed)
{
    constexpr int64_t slowest = -ZYNOV_FASTEST;
    const int64_t speed = static_cast<int32_t>(clock_speed);
    if (speed == 0 || speed == -1 || speed > ZYNOV_FASTEST)
        return 1;
    return speed < slowest ? slowest : speed; // a much slower one would seem to stand still
}

// Continues at another speed. A processor may reorder the reading of the real time, so that a reader's is later than
// this writer's: hence a microsecond more.
static void change_speed(Timeline &timeline, int64_t speed, const Instants &now)
{
    constexpr int64_t leeway = 1000;
    if (timeline.speed == speed)
        return;
    for (size_t i = 0; i < now.size(); ++i)
        timeline.shown[i] = timeline.at(i, zynov_sum(now[i], leeway));
    timeline.real = now;
    timeline.speed = speed;
}

static size_t find_timeline(const Table &table, const Clock &clock)
{
    static_assert(offsetof(Timeline, id) == 0);
    const size_t used = table.used_timelines().size();
    const auto id = static_cast<uint64_t>(clock.id);
    size_t place = 0;
    while (place < used && !(table.timelines[place].begins_with(id) && table.timelines[place].load().is_of(clock)))
        ++place;
    return place;
}

// Returns a free slot, or that of the timeline that ended first. There are as many slots as clocks, so one is not live.
static size_t find_place(const Table &table)
{
    size_t place = 0, oldest = 0;
    int64_t its_end = INT64_MAX;
    for (const auto &kept : table.used_timelines()) {
        const Timeline timeline = kept.load();
        if (timeline.is_live == 0 && timeline.real[0] < its_end) {
            oldest = place;
            its_end = timeline.real[0];
        }
        ++place;
    }
    return place < Table::capacity ? place : oldest;
}

static void begin_timeline(Table &table, const Clock &clock, const Timeline &last, const Instants &now)
{
    size_t place = find_timeline(table, clock);
    Timeline timeline;
    if (place < table.used_timelines().size()) {
        timeline = table.timelines[place].load();
    } else {
        place = find_place(table);
        timeline = {.id = clock.id,
                    .flags = clock.kind(),
                    .container_id = clock.container_id,
                    .pid_namespace = clock.pid_namespace,
                    .birth = clock.birth,
                    .tree = 0,
                    .number = ++table.timelines_begun,
                    .is_live = 0,
                    .speed = 1,
                    .real = now,
                    .shown = now};
        for (size_t i = 0; i < now.size(); ++i)
            timeline.shown[i] = std::max(now[i], last.at(i, now[i]));
    }
    change_speed(timeline, interval_speed(clock.speed), now);
    timeline.is_live = 1;
    timeline.tree = clock.tree;
    table.timelines[place].store(timeline);
    if (place >= table.timelines_used)
        table.timelines_used = place + 1;
}

void change_timelines(Table &table, const Clock &before, const Clock &after, const Timeline &last, const Instants &now)
{
    const size_t place = before.kind() != ZYNOV_NO_KIND ? find_timeline(table, before) : Table::capacity;
    Timeline timeline = {};
    if (place < table.used_timelines().size())
        timeline = table.timelines[place].load();
    if (timeline.is_live != 0 && !timeline.is_of(after)) {
        change_speed(timeline, 1, now);
        timeline.is_live = 0;
        table.timelines[place].store(timeline);
    }
    if (after.kind() != ZYNOV_NO_KIND)
        begin_timeline(table, after, last, now);
}

void restart_timelines(Table &table, const Instants &now)
{
    for (size_t place = 0; place < table.used_timelines().size(); ++place)
        table.timelines[place].store({});
    table.timelines_used = 0;
    for (const Slot &slot : table.used_slots())
        if (const Clock clock = slot.load(); clock.kind() != ZYNOV_NO_KIND)
            begin_timeline(table, clock, real_timeline, now);
}

} // namespace sim
