// Monotonic time under zynov-sim --intervals.
#include "tests/utility.h"

// Whether each kind of monotonic time passes as the clock does, in one of some tries; beside /proc/uptime where the
// clock stands. They are read around what they are compared with, so none passes less.
static constexpr char paces[] = R"END(cat >pace <<'SCRIPT'
use Time::HiRes qw(clock_gettime clock CLOCK_REALTIME);
sub uptime { open my $file, '<', '/proc/uptime'; (split ' ', <$file>)[0] }
sub read_all { map { my $id = $_; $id < 0 ? ($ARGV[0] eq 'wall' ? clock_gettime(0) : uptime()) : clock_gettime($id) } @_ }
my $fault = '';
for (1 .. 20) {
    my @before = read_all(1, 4, 6, 7, -1);
    for (my $end = uptime() + 0.3; uptime() < $end;) {}
    my @after = reverse read_all(-1, 7, 6, 4, 1);
    my @passed = map { $after[$_] - $before[$_] } 0 .. 4;
    $fault = join ' ', grep { $passed[$_] < 0.9 * $passed[4] or $passed[$_] > 1.3 * $passed[4] } 0 .. 3;
    last if $fault eq '';
}
print "@ARGV $fault\n";
SCRIPT
begin() { sh -c "./ovuser add p:\$\$ --epoch 1924419600 --speed $1 >/dev/null && exec perl pace $2 $1"; }
)END";

TEST_F(Utility, LetsMonotonicTimePassAsTheClockDoes)
{
    EXPECT_EQ(shell(paces + std::string("begin 60 wall; begin 1000 wall; begin -4 wall; begin frozen real; perl pace"),
                    "$SIM --intervals"),
              "wall 60 \nwall 1000 \nwall -4 \nreal frozen \n \n= 0");
    EXPECT_EQ(shell(paces + std::string("begin 1 real"), "$SIM"), "real 1 \n= 0");
}

// From one clock to another, to none, and from program to program.
TEST_F(Utility, LetsMonotonicTimeGoOn)
{
    EXPECT_EQ(shell("printf 'use Time::HiRes; printf qq(%%.6f\\n), Time::HiRes::clock_gettime(1)' >now\n"
                    "{ perl now; $OV run --in 1d --speed 1000 -- sh -c '\n"
                    "perl now; $OV run --in 2d --speed -10 perl now; perl now\n"
                    "$OV delete p:$$; perl now; perl now; $OV add p:$$ $FREEZE --descendants; perl now; perl now\n"
                    "$OV set p:$$ --speed 60; perl now'; } 2>&1 | grep -x '[0-9.]*' >out; sort -nc out; wc -l <out",
                    "$SIM --intervals"),
              "9\n= 0");
}
