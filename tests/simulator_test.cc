// The simulated module: its rules, and a table with many writers.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>
#include <memory>
#include <tuple>

#include "simulator/raw/process.h"
#include "simulator/table/commands.h"
#include "simulator/table/lock.h"
#include "simulator/table/state.h"

using namespace sim;

static constexpr timespec start = {1800000000, 500000000};
static constexpr auto ADD = ZYNOV_IOC_ADD_CLOCK, DELETE = ZYNOV_IOC_DELETE_CLOCK, RESET = ZYNOV_IOC_RESET_ALL;

static int change(Table &table, unsigned long command, uint64_t kind, int64_t id, int64_t value = 1924419600,
                  uint64_t container = 0)
{
    zynov_iov record = {171, 0, 0, id, value, kind, 1, 0, 0, 0, container};
    return change_table(table, command, record, start, find_add_context(command, record));
}

// The listing needs the time shown, and the date in base and origin. module/tests/contract.c has the other rules.
TEST(Simulator, ListsARewindingClock)
{
    setenv("TZ", "UTC", 1);
    const auto table = std::make_unique<Table>();
    zynov_iov clock = {171, 0, 0, 5, 1924419600, 0x101, 60, 0, -7, 0, 9};
    EXPECT_EQ(change_table(*table, ADD, clock, start, {}), 0);
    clock = {171};
    EXPECT_EQ(query_table(*table, ZYNOV_IOC_GET_SLOT, clock, {start.tv_sec + 1000, start.tv_nsec}), 0);
    EXPECT_EQ(clock.vtime, 1924419600 + 60000 - 86400);
    EXPECT_EQ(clock.base, clock.vtime + 7);
    EXPECT_EQ(std::tie(clock.origin, clock.flags, clock.speed, clock.container_id),
              std::make_tuple(-7, 0x101u, 60, 9u));
}

// The slot of a lasting tree whose last member has ended is taken when it was seen empty ten seconds before.
TEST(Simulator, KeepsSlotsOfTreesForAWhile)
{
    const auto room = std::make_unique<Table>();
    Table &table = *room;
    const pid_t child = fork();
    if (child == 0)
        pause();
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    EXPECT_EQ(change(table, ADD, ZYNOV_PROCESS, child), 0);
    zynov_iov lasting = {171, 0, 0, child, 0, ZYNOV_PROCESS, 0, 0, 0, 12};
    EXPECT_EQ(change_table(table, ZYNOV_IOC_REFINE_CLOCK, lasting, start, {}), 0);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(change(table, ADD, ZYNOV_USER, 5), 0);
    Clock clock = table.slots[0].load();
    EXPECT_EQ(clock.id, child);
    EXPECT_GE(clock.empty_since, now.tv_sec);
    clock.empty_since -= 10;
    table.slots[0].store(clock);
    EXPECT_EQ(change(table, ADD, ZYNOV_USER, 6), 0);
    EXPECT_EQ(table.slots[0].load().id, 6);
}

// Clocks of processes: whether they are seen, what add, delete and reset return, and whether a reset frees the slot.
TEST(Simulator, TakesNoLivingProcessItsClock)
{
    const int64_t pid = getpid();
    uint64_t birth = 0;
    ASSERT_EQ(read_birth(pid, birth), 0);
    const uint64_t here = pid_namespace();
    const auto clock = [](int64_t id, uint64_t where, uint64_t when) {
        return Clock{.id = id, .flags = 3, .pid_namespace = where, .birth = when};
    };
    const std::tuple<Clock, int64_t, int, int, int, bool> rows[] = {
        {clock(pid, here, birth), pid, EEXIST, 0, 0, true},
        {clock(pid, here, birth ^ 64), 0, 0, EL2HLT, ENOENT, true},  // of an earlier one with that id
        {clock(INT_MAX, here, birth), 0, 0, EL2HLT, ENOENT, true},   // no such process
        {clock(pid, here ^ 1, birth), 0, 0, EL2HLT, ENOENT, false}}; // of another namespace
    for (const auto &[first, shown, added, deleted, emptied, freed] : rows) {
        const auto table = std::make_unique<Table>();
        const auto put = [&, &held = first] {
            table->used = 3;
            for (uint32_t i = 0; i < 3; ++i)
                table->slots[i].store(i == 0 ? held : Clock());
        };
        put();
        zynov_iov record = {171, 0};
        EXPECT_EQ(query_table(*table, ZYNOV_IOC_GET_SLOT, record, start), 0);
        EXPECT_EQ(record.id, shown);
        EXPECT_EQ(change(*table, ADD, 3, pid), added);
        EXPECT_EQ(table->slots[0].load().id, added == 0 && freed ? pid : first.id); // takes a dead one's slot
        put();
        EXPECT_EQ(change(*table, DELETE, 0, pid, 3), deleted);
        put();
        EXPECT_EQ(change(*table, RESET, 0, 0), emptied);
        EXPECT_EQ(table->slots[0].load().kind() == ZYNOV_NO_KIND, freed);
    }
    EXPECT_EQ(change(*std::make_unique<Table>(), ADD, 3, INT_MAX), ESRCH);

    // In a full table only the ended process gives up its slot.
    const auto full = std::make_unique<Table>();
    full->used = Table::capacity;
    for (uint32_t i = 0; i < Table::capacity; ++i)
        full->slots[i].store(clock(pid, here, i + 1 < Table::capacity ? birth : birth ^ 64));
    EXPECT_EQ(change(*full, ADD, 1, 5), 0);
    EXPECT_EQ(full->slots[Table::capacity - 1].load().id, 5);
    EXPECT_EQ(change(*full, ADD, 1, 6), ENOSPC);
    rlimit kept = {};
    getrlimit(RLIMIT_NOFILE, &kept);
    const rlimit none = {0, kept.rlim_max}; // no descriptor, so nothing can be found out
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_FALSE(has_ended(pid, birth ^ 64));
    EXPECT_EQ(change(*std::make_unique<Table>(), ADD, 3, pid), EMFILE);
    setrlimit(RLIMIT_NOFILE, &kept);
}

// A clock takes over the tree that an earlier one of its process began, and no other's.
TEST(Simulator, TakesOverATreeOfItsProcess)
{
    const int64_t pid = getpid();
    const auto room = std::make_unique<Table>();
    Table &table = *room;
    const auto begin = [&](uint64_t bits) {
        EXPECT_EQ(change(table, ADD, ZYNOV_PROCESS, pid), 0);
        zynov_iov record = {171, 0, 0, pid, 0, ZYNOV_PROCESS, 0, 0, 0, bits};
        EXPECT_EQ(change_table(table, ZYNOV_IOC_REFINE_CLOCK, record, start, {}), 0);
        return table.slots[1].load().tree;
    };
    const auto end = [&] { EXPECT_EQ(change(table, DELETE, 0, pid, ZYNOV_PROCESS), 0); };
    EXPECT_EQ(change(table, ADD, ZYNOV_USER, 5), 0);
    const uint64_t first = begin(4);
    EXPECT_NE(first, 0u);
    end();
    EXPECT_EQ(change(table, DELETE, 0, 5, ZYNOV_USER), 0); // a free slot in front
    EXPECT_EQ(begin(1), 0u);                               // one that is not passed on
    end();
    EXPECT_EQ(begin(4), first);
    for (uint64_t Clock::*differs : {&Clock::birth, &Clock::pid_namespace, &Clock::container_id}) {
        EXPECT_EQ(change(table, ADD, ZYNOV_USER, 5), 0);
        end();
        Clock left = table.slots[1].load();
        left.*differs ^= 64;
        table.slots[1].store(left);
        EXPECT_NE(begin(4), first);
        EXPECT_EQ(change(table, DELETE, 0, 5, ZYNOV_USER), 0);
    }
    end();
    begin_boot(table, 1);
    EXPECT_EQ(table.slots[1].load().former_tree, 0u);
}

// Whether `look` returns true in a child that is in a namespace of its own, after `prepare`.
static bool holds_in(int kind, const std::function<bool()> &prepare, const std::function<bool()> &look)
{
    int status = 1;
    if (fork() == 0) {
        const bool prepared = unshare(kind) == 0 && prepare();
        if (fork() == 0)
            _exit(prepared && look() ? 0 : 1);
        wait(&status);
        _exit(WEXITSTATUS(status));
    }
    wait(&status);
    return status == 0;
}

// The start times of processes, for older kernels.
TEST(Simulator, KnowsWhenAProcessStartedInAnyNamespace)
{
    const pid_t pid = getpid();
    uint64_t birth = 0;
    ASSERT_EQ(read_start(pid, birth), 0);
    EXPECT_FALSE(has_ended(pid, birth));
    EXPECT_FALSE(has_ended(pid, birth - 1));
    EXPECT_TRUE(has_ended(pid, birth - 2));
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the superuser";
    const auto set_offset = [=] {
        std::ofstream offsets("/proc/self/timens_offsets"); // which takes the right to set the time
        const bool shifts = (offsets << "boottime 100000 5000000\n" << std::flush).good();
        return !shifts || !has_ended(pid, birth - 1000); // unknown before the namespace is entered
    };
    EXPECT_TRUE(
        holds_in(CLONE_NEWTIME, set_offset, [=] { return !has_ended(pid, birth) && has_ended(pid, birth - 3); }));
    // A /proc of another pid namespace shows other processes.
    EXPECT_TRUE(holds_in(
        CLONE_NEWPID, [] { return true; }, [&] { return read_start(1, birth) == EACCES; }));
}

// A table in a file, and a descriptor of it.
class SimulatorTable : public testing::Test
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
    int send(unsigned long command, uint64_t kind, int64_t id, int64_t value = 99999)
    {
        return change(*TableLock(descriptor).table(), command, kind, id, value);
    }

    const std::string path = PROGRAMS "/table." + std::to_string(getpid());
    int descriptor = -1;
};

TEST_F(SimulatorTable, LosesNothingToManyWritersNorToOneThatIsKilled)
{
    const int next = dup(descriptor);
    close(next);
    constexpr int writers = 8, rounds = 60;
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() != 0)
            continue;
        int failures = 0;
        for (int64_t id = 1000 * writer + 1; id <= 1000 * writer + rounds; ++id)
            failures += send(ADD, 1, id) != 0 || send(ADD, 2, id) != 0 || send(DELETE, 0, id, 2) != 0;
        const TableLock lock(descriptor);
        if (writer == 0)
            lock.table()->generation |= 1, raise(SIGKILL);
        _exit(failures);
    }
    int killed = 0, failed = 0, kept = 0;
    for (int status; wait(&status) > 0;)
        killed += WIFSIGNALED(status), failed += WIFEXITED(status) && WEXITSTATUS(status) != 0;
    for (const Slot &slot : attach_state(descriptor)->slots)
        kept += slot.load().kind() != 0;
    EXPECT_EQ(killed, 1);
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(kept, writers * rounds);
    EXPECT_EQ(send(DELETE, 0, 1, 1), 0);
    EXPECT_EQ(TableLock(descriptor).table()->generation % 2, 0u); // a whole change repairs the interrupted one
    EXPECT_EQ(dup(descriptor), next);                             // nothing was left open
    close(next);
}

// The change is lost, and the next one has the file's table again.
TEST_F(SimulatorTable, SurvivesItsTruncation)
{
    EXPECT_EQ(send(ADD, 1, 1001), 0);
    const Table *used;
    {
        const TableLock cut(descriptor);
        used = cut.table();
        EXPECT_TRUE(give_up_table(used));
        EXPECT_TRUE(cut.mapping().was_cut());
    }
    EXPECT_FALSE(give_up_table(used)); // which is unmapped now
    EXPECT_EQ(send(DELETE, 0, 1001, 1), 0);
}

// A child made by clone(2) during a change keeps no lock and finds none.
TEST_F(SimulatorTable, IsNotLockedByAChildOfAWriter)
{
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    pid_t child;
    {
        const TableLock lock(descriptor);
        child = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
        if (child == 0)
            read(go[0], &child, 1), _exit(TableLock(descriptor).error());
    }
    EXPECT_EQ(TableLock(descriptor).error(), 0);
    EXPECT_EQ(write(go[1], "", 1), 1);
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}
