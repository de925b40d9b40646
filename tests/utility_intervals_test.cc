// Monotonic time under zynov-sim --intervals, as tests/passing.cc reads it.
#include "tests/utility.h"

static const std::string passing = PROGRAMS "/tests/passing";

TEST_F(Utility, LetsMonotonicTimePassAsTheClockDoes)
{
    for (const std::string &program : {passing, passing + "-static"}) {
        const auto seen = [&](const std::string &speed, const std::string &passes, const std::string &options) {
            return shell("./ovuser add p:$$ --epoch 1924419600 --speed " + speed + " >out && exec " + program + ' ' +
                             passes,
                         "$SIM " + options);
        };
        const std::pair<const char *, const char *> speeds[] = {{"60", "60/1"},      {"1000", "1000/1"}, {"-4", "1/4"},
                                                                {"-1000", "1/1000"}, {"frozen", "1/1"},  {"1", "1/1"}};
        for (const auto &[speed, passes] : speeds)
            if (fs::exists(program)) {
                EXPECT_EQ(seen(speed, passes, "--intervals"), "right\n= 0") << program << speed;
            }
        // The clock ends with its process, which leaves the table as it is.
        if (fs::exists(program)) {
            EXPECT_EQ(shell("rm -f go; mkfifo go; sh -c './ovuser add p:$$ --in 1d --speed 60 --descendants >out; " +
                                program + " 60/1 1/1 & read line <go' | { read line; echo >go; cat; }",
                            "$SIM --intervals"),
                      "right\n= 0")
                << program;
        }
    }
}

// From one clock to another, to none, and from program to program.
TEST_F(Utility, LetsMonotonicTimeGoOn)
{
    EXPECT_EQ(shell("export now='" + passing +
                        " now'\n"
                        "{ $now; $OV run --in 1d --speed 1000 -- sh -c '\n"
                        "$now; $OV run --in 2d --speed -10 $now; $now\n"
                        "$OV delete p:$$; $now; $now; $OV add p:$$ $FREEZE --descendants; $now; $now\n"
                        "$OV set p:$$ --speed 60; $now'; } 2>&1 | grep -x '[0-9]*' >out; sort -nc out; wc -l <out",
                    "$SIM --intervals"),
              "9\n= 0");
    // Waits under way leave a clock that ends with its process.
    EXPECT_EQ(shell("mkfifo go; sh -c './ovuser add p:$$ --in 1d --speed -1000 --descendants >out; perl -e \"\\$| = 1;"
                    "if (!fork) { sleep 1; exit } select undef, undef, undef, 0.0005; print qq(1\\n);"
                    "select undef, undef, undef, 0.5; wait; print 2\" & read line <go' | "
                    "{ read line; echo >go; timeout 30 cat; }",
                    "$SIM --intervals"),
              "2= 0");
}
