// The simulated module: its rules on a table of its own, its clocks, and a table that many processes share.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <thread>

#include "base/integer.h"
#include "simulator/faults.h"
#include "simulator/state.h"
#include "timespec/range.h"

using namespace sim;

static constexpr timespec start = {1800000000, 0};

static zynov_iov record_of(uint64_t kind, int64_t id, int64_t value = 1924419600, uint64_t container = 0)
{
    return {171, 0, 0, id, value, kind, 1, 0, 0, 0, container};
}

static int change(Table &table, zynov_command command, zynov_iov record)
{
    return change_table(table, command, record, start);
}

static zynov_iov slot_of(const Table &table, uint32_t slot, timespec now = start)
{
    zynov_iov record = {171, slot, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(query_table(table, ZYNOV_IOC_GET_SLOT, record, now), 0);
    return record;
}

static int64_t high_mark(const Table &table)
{
    zynov_iov record = {171, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(query_table(table, ZYNOV_IOC_HIGH_MARK, record, start), 0);
    return record.speed;
}

TEST(Simulator, KeepsTheModulesRules)
{
    setenv("TZ", "UTC", 1);
    const auto owner = std::make_unique<Table>();
    Table &table = *owner;
    EXPECT_EQ(high_mark(table), -1);
    EXPECT_EQ(change(table, ZYNOV_IOC_RESET_ALL, record_of(0, 0)), ENOENT);
    for (const zynov_command command :
         {ZYNOV_IOC_ADD_CLOCK, ZYNOV_IOC_DELETE_CLOCK, ZYNOV_IOC_RESET_ALL, ZYNOV_IOC_GET_SLOT, ZYNOV_IOC_HIGH_MARK}) {
        zynov_iov old = record_of(1, 1);
        old.version = 170;
        EXPECT_EQ(changes_table(command) ? change(table, command, old) : query_table(table, command, old, start),
                  EILSEQ);
    }
    const struct {
        zynov_command command;
        zynov_iov record;
        int error;
        int64_t high_mark;
    } steps[] = {
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 5), 0, 0},
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 5, 1), EEXIST, 0},
        {ZYNOV_IOC_ADD_CLOCK, record_of(2, 5), 0, 1},
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 5, 32400, 9), 0, 2},
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 6, 32399), EINVAL, 2},
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 6, 253402329600), EOVERFLOW, 2},
        {ZYNOV_IOC_ADD_CLOCK, record_of(4, 6), EINVAL, 2},
        {ZYNOV_IOC_DELETE_CLOCK, record_of(1, 5, 2), 0, 2}, // the kind in place of the value: the group
        {ZYNOV_IOC_DELETE_CLOCK, record_of(2, 5, 2), EL2HLT, 2},
        {ZYNOV_IOC_ADD_CLOCK, record_of(1, 7, 253402329599), 0, 2}, // into the lowest free slot
        {ZYNOV_IOC_RESET_ALL, record_of(0, 0, 0, 9), 0, 1},
        {ZYNOV_IOC_RESET_ALL, record_of(0, 0, 0, 9), ENOENT, 1},
        {ZYNOV_IOC_DELETE_CLOCK, record_of(0, 7, 1), 0, 0},
    };
    for (const auto &step : steps) {
        EXPECT_EQ(change(table, step.command, step.record), step.error);
        EXPECT_EQ(high_mark(table), step.high_mark);
    }
    EXPECT_EQ(slot_of(table, 1).id, 0);
    for (int64_t id = 100; high_mark(table) < Table::capacity - 1; ++id)
        ASSERT_EQ(change(table, ZYNOV_IOC_ADD_CLOCK, record_of(1, id)), 0);
    EXPECT_EQ(change(table, ZYNOV_IOC_ADD_CLOCK, record_of(1, 99)), ENOSPC);

    // What the listing needs: the present time, and the date that base and origin add up to.
    zynov_iov clock = record_of(0x101, 5, 1924419600);
    clock.speed = 60, clock.origin = -7;
    EXPECT_EQ(change(table, ZYNOV_IOC_RESET_ALL, record_of(0, 0)), 0);
    EXPECT_EQ(change(table, ZYNOV_IOC_ADD_CLOCK, clock), 0);
    clock = slot_of(table, 0, {start.tv_sec + 1000, 0});
    EXPECT_EQ(clock.vtime, 1924419600 + 60000 - 86400);
    EXPECT_EQ(clock.base + clock.origin, 1924419600);

    // The clock of a process goes with it: a later one by the same number finds no clock, and room for its
    // own.
    const pid_t child = fork();
    if (child == 0)
        pause();
    EXPECT_EQ(change(table, ZYNOV_IOC_ADD_CLOCK, record_of(3, child)), 0);
    EXPECT_EQ(slot_of(table, 1).id, child);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(slot_of(table, 1).id, 0);
    EXPECT_EQ(change(table, ZYNOV_IOC_DELETE_CLOCK, record_of(3, child, 3)), EL2HLT);
    EXPECT_EQ(change(table, ZYNOV_IOC_ADD_CLOCK, record_of(3, getpid())), 0);
    EXPECT_EQ(slot_of(table, 1).id, getpid());
}

TEST(Simulator, RunsClocksAtTheirSpeed)
{
    std::mt19937_64 random(1);
    for (int round = 0; round < 200000; ++round) {
        static const int speeds[] = {1, -1, 0, 1001, 2, 60, 1000, -2, -60, -1000, -999, INT_MAX, INT_MIN};
        Clock clock = {.flags = 1,
                       .speed = speeds[random() % 13],
                       .start = 1924419600,
                       .real_seconds = start.tv_sec,
                       .real_nanoseconds = static_cast<long>(random() % 1000000000)};
        const timespec real = {start.tv_sec - 1000 + static_cast<long>(random() % 3000000),
                               static_cast<long>(random() % 1000000000)};
        const __int128 elapsed = (static_cast<__int128>(real.tv_sec) - clock.real_seconds) * 1000000000 + real.tv_nsec -
                                 clock.real_nanoseconds;
        __int128 moved = clock.speed == 0 || clock.speed > 1000 ? 0
                         : clock.speed > 0                      ? elapsed * clock.speed
                                                                : elapsed / -clock.speed;
        if (clock.speed < 0 && elapsed < 0 && elapsed % -clock.speed != 0)
            --moved;
        const timespec shown = Pace(clock).at(real);
        ASSERT_TRUE(static_cast<__int128>(shown.tv_sec) * 1000000000 + shown.tv_nsec ==
                    static_cast<__int128>(clock.start) * 1000000000 + moved)
            << clock.speed;
        ASSERT_TRUE(shown.tv_nsec >= 0 && shown.tv_nsec < 1000000000);

        clock.flags |= 1 << ZYNOV_REWIND_SHIFT; // the same time of day, on the day that it began with
        clock.utc_offset = 3600 * (static_cast<int64_t>(random() % 27) - 12);
        const timespec rewound = Pace(clock).at(real);
        ASSERT_EQ((rewound.tv_sec - shown.tv_sec) % 86400, 0);
        ASSERT_EQ(ov::floor_div(rewound.tv_sec + clock.utc_offset, 86400),
                  ov::floor_div(clock.start + clock.utc_offset, 86400));

        auto *words = reinterpret_cast<uint64_t *>(&clock); // whatever a broken table may hold
        for (size_t i = 0; i < sizeof clock / 8; ++i)
            words[i] = random() % 3 == 0 ? random() : static_cast<uint64_t>(INT64_MIN) + random() % 3 - 1;
        Pace(clock).at({INT64_MAX - static_cast<long>(random() % 2), 999999999});
    }
}

class SharedTable : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(create_state(path.c_str(), 0600), 0);
        ASSERT_EQ(create_state(path.c_str(), 0600), EEXIST);
        descriptor = open(path.c_str(), O_RDONLY);
        ASSERT_EQ(flaw_in_state(descriptor), nullptr);
    }
    void TearDown() override
    {
        close(descriptor);
        unlink(path.c_str());
    }
    std::string path = testing::TempDir() + "/table." + std::to_string(getpid());
    int descriptor = -1;
};

TEST_F(SharedTable, LosesNothingToManyWritersNorToOneThatIsKilled)
{
    constexpr int writers = 8, rounds = 60;
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() != 0)
            continue;
        const auto send = [&](zynov_command command, zynov_iov record) {
            const Change change(descriptor); // inherited, and still each has the table for itself
            return change_table(*change.table(), command, record, start);
        };
        bool good = true;
        for (int64_t id = 1000 * writer; id < 1000 * writer + rounds; ++id) {
            good &=
                send(ZYNOV_IOC_ADD_CLOCK, record_of(1, id)) == 0 && send(ZYNOV_IOC_ADD_CLOCK, record_of(2, id)) == 0;
            good &= send(ZYNOV_IOC_DELETE_CLOCK, record_of(0, id, 2)) == 0;
        }
        if (writer == 0) {
            const Change change(descriptor);
            change.table()->generation |= 1;
            raise(SIGKILL);
        }
        _exit(good ? 0 : 1);
    }
    int killed = 0, failed = 0;
    for (int status; wait(&status) > 0;)
        killed += WIFSIGNALED(status), failed += WIFEXITED(status) && WEXITSTATUS(status) != 0;
    EXPECT_EQ(killed, 1);
    EXPECT_EQ(failed, 0);
    const Change change(descriptor);
    EXPECT_EQ(high_mark(*change.table()), writers * rounds - 1);
}

TEST_F(SharedTable, ShowsReadersNoHalfOfAClock)
{
    const Change change(descriptor);
    Slot &slot = change.table()->slots[3];
    std::atomic<bool> finished = false;
    std::atomic<uint64_t> torn = 0, seen = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!finished) {
                const Clock clock = slot.load();
                torn += clock.id != clock.start || clock.flags != clock.birth || clock.speed != clock.id;
                ++seen;
            }
        });
    }
    for (int64_t i = 0; i < 300000 || seen < 1000; ++i)
        slot.store(
            {.id = i, .flags = static_cast<uint64_t>(i), .speed = i, .start = i, .birth = static_cast<uint64_t>(i)});
    finished = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(torn, 0u);
}

TEST(Simulator, ReadsFaultScripts)
{
    Faults faults;
    for (const char *script : {"1", "1:2", "1:2:3:", "1:2:3:nothing=4", "1:2:3,", "1:2:3 4", "x"})
        EXPECT_FALSE(faults.read(script)) << script;
    ASSERT_TRUE(faults.read("2:-1:22:kernel_error=-5,2:7:0:id=4294967296,3:0:1"));
    zynov_iov record = record_of(1, 5);
    int result = 99, error = 99;
    EXPECT_FALSE(faults.play(1, record, result, error));
    EXPECT_TRUE(faults.play(2, record, result, error));
    EXPECT_TRUE(result == 7 && error == 0 && record.kernel_error == -5 && record.id == 4294967296 && record.slot == 0);
}
