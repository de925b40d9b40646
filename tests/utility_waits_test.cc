// How long programs wait for an instant of their clocks, by the calls in tests/waits.c.
#include "utility.h"

TEST_F(Utility, WaitsUntilItsClockGetsThere)
{
    // Runs all at once, each in its own process.
    EXPECT_EQ(shell("begin() { sh -c \"./ovuser add p:\\$\\$ $1 >/dev/null; $3 exec ./waits $2\" & }\n"
                    "begin '--epoch 1924419600' '400 400'\n"
                    "begin '--epoch 1286701200' '400 400'\n"
                    "begin '--epoch 1924419600 --speed 60' '24000 400'\n"
                    "begin '--epoch 1286701200 --speed -100' '4 400'\n"
                    "begin \"$FREEZE\" '400 400'\n"
                    "begin '--at 2030-12-25T23:59 --rewind --speed 1000' '400000 400'\n" // past midnight
                    "begin '--epoch 1924419600' '-5000 0'\n"
                    "begin '--epoch 1286701200 --speed -100' '-5000 0'\n"
                    "./waits 400 400; ./waits -5000 0\n"
                    "wait",
                    "$SIM"),
              "= 0");
}

TEST_F(Utility, EndsWaitsUnderWayByAClockThatIsChanged)
{
    EXPECT_EQ(shell("begin() { sh -c \"$1 exec ./waits $2 '$3'\" & }\n"
                    "in_2030='./ovuser add p:$$ --epoch 1924419600 >/dev/null;'\n"
                    "begin \"$in_2030\" '3600000 1' './ovuser set p:$PPID --epoch 1924430000 >/dev/null'\n"
                    "begin \"$in_2030\" '2000 1' './ovuser set p:$PPID --epoch 1924419600 >/dev/null'\n"
                    "begin \"$in_2030\" '3600000 1' './ovuser set p:$PPID --speed 1000 >/dev/null'\n"
                    "begin './ovuser add p:$$ --epoch 1286701200 >/dev/null;' '3600000 1' './ovuser delete p:$PPID "
                    ">/dev/null'\n"
                    "begin '' '3600000 1' './ovuser add p:$PPID --epoch 1924419600 >/dev/null'\n"
                    "begin './ovuser add p:$$ $FREEZE >/dev/null;' '3600000 1' './ovuser set p:$PPID --epoch "
                    "1924430000 --speed frozen >/dev/null'\n"
                    "wait",
                    "$SIM"),
              "= 0");
    // The end of the process whose clock they have leaves the table as it is.
    EXPECT_EQ(
        shell("mkfifo go; sh -c './ovuser add p:$$ --epoch 1286701200 --descendants >out; ./waits 3600000 1 \"echo "
              ">go\" & read line <go' | cat",
              "$SIM"),
        "= 0");
}
