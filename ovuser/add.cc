#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ovuser/change.h"
#include "ovuser/clocks.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/text.h"

namespace ovuser
{

static constexpr char add_usage[] =
    "usage: ovuser add [IDENTITY...] WHEN [--speed N] [--rewind] [--descendants] [--replace] [--dry-run [--json]]\n"
    "\n"
    "Gives each IDENTITY a virtual clock. A clock that is there stays as it is.\n";

static constexpr char set_usage[] =
    "usage: ovuser set [IDENTITY...] [WHEN] [--speed N] [--rewind] [--descendants] [--dry-run [--json]]\n"
    "\n"
    "Gives each IDENTITY a virtual clock and replaces a clock that is there; without WHEN it goes on from\n"
    "what it shows.\n";

static constexpr OptionsWithClock add_options({
    {"replace", no_argument, nullptr, 'r'},
    {"dry-run", no_argument, nullptr, 'n'},
    {"json", no_argument, nullptr, 'j'},
    {"descendants", no_argument, nullptr, 'd'},
    {"help", no_argument, nullptr, 'h'},
});

bool Plan::next()
{
    static constexpr const char *keys[] = {"added", "changed", "deleted", "left", "failed"};
    if (kind_ >= 0)
        json_.close(']');
    if (++kind_ < end) {
        json_.open('[', keys[kind_]);
        return true;
    }
    json_.close('}');
    fputc('\n', stdout);
    return false;
}

void Plan::write_state(const char *key, const ov_clock *clock, bool descendants)
{
    if (clock == nullptr)
        return json_.null(key);
    json_.open('{', key);
    write_clock_state(json_, *clock, real_, descendants);
    json_.close('}');
}

void Plan::write(const char *identity, int line, const ov_clock *from, const ov_clock *to, bool to_descendants)
{
    const bool descendants = from != nullptr && passed_on_by(*from) != 0;
    const ov_clock &either = from != nullptr ? *from : *to;
    json_.open('{');
    json_.text("identity", identity);
    if (line > 0)
        json_.number("line", line);
    json_.text("kind", kind_word(either.kind));
    json_.number("id", either.id);
    write_state("from", from, descendants);
    write_state("to", to, descendants || to_descendants);
    json_.close('}');
}

void Plan::give(const Identity &who, int line, const ClockOptions &when, int64_t checked, const ov_clock *present)
{
    const Change kind = present == nullptr ? added : replace_ ? changed : left;
    if (kind != kind_)
        return;
    const ov_clock wanted = ClockRequest(when, checked, present).clock_of(who);
    write(who.label(), line, present, kind == left ? present : &wanted, kind != left && when.passed_on() != 0);
}

void Plan::remove(const ov_clock &clock)
{
    const ListedIdentity owner(clock);
    if (kind_ == (owner.exists ? deleted : failed))
        write(owner.text, 0, &clock, owner.exists ? nullptr : &clock, false);
}

// A number may also be an identity.
static void hint_on_stray_speed(int count, char *const *words)
{
    for (int i = 0; i < count; ++i) {
        int64_t speed;
        uint32_t user;
        if (strcmp(words[i], "frozen") == 0 || (read_whole_number(words[i], -OV_SPEED_LIMIT, OV_SPEED_LIMIT, speed) &&
                                                parse_uid(words[i], OV_USER, &user) != 0))
            return hint("a speed is given by an option: --speed %s", words[i]);
    }
}

int AddOptions::read(const char *subcommand, int argc, char **argv)
{
    optind = 0; // starts again for each line of a file
    for (int choice; (choice = getopt_long(argc, argv, "X:o:h", add_options.list, nullptr)) != -1;) {
        switch (choice) {
        case 'h':
            help_ = true;
            return done;
        case 'n':
            dry_run_ = true;
            break;
        case 'j':
            json_ = true;
            break;
        case 'r':
            replace_ = true;
            break;
        case 'd':
            when_.pass_on(OV_REFINE_DESCENDANTS);
            break;
        default:
            if (const int status = when_.take(choice, argc, argv, add_options.list))
                return status;
        }
    }
    if (const int status = when_.complete(subcommand)) {
        if (!hint_on_stray_time(argc - optind, argv + optind))
            hint_on_stray_speed(argc - optind, argv + optind);
        return status;
    }
    if (const int status = read_identities_or_caller(identities_, subcommand, argc - optind, argv + optind))
        return status;
    for (const Identity &who : identities_)
        if (when_.passed_on() != 0 && who.kind != OV_PROCESS)
            return usage_error("--descendants is for processes, p:PID; the clock of a %s reaches all of its processes",
                               kind_word(who.kind));
    return done;
}

int AddOptions::check(bool dry_run)
{
    return check_clock(identities_, when_, checked_, !dry_run);
}

int AddOptions::carry_out(bool replace)
{
    const bool several = identities_.count() > 1;
    Lock lock;
    int worst = lock.take();
    if (worst != done)
        return worst;
    if (!replace) {
        for (const Identity &who : identities_)
            worst = std::max(worst, add_clock(who, when_, checked_, several));
        return worst;
    }
    Clocks table;
    table.read();
    for (const Identity &who : identities_)
        worst = std::max(worst, replace_clock(who, when_, checked_, several, table));
    return worst;
}

void AddOptions::write_plan(bool replace, const Clocks &table) const
{
    Plan plan(replace);
    while (plan.next())
        for (const Identity &who : identities_)
            plan.give(who, 0, when_, checked_, table.find(who.kind, who.id));
}

int AddOptions::report_plan(bool replace, const Clocks &table)
{
    if (json_) {
        if (table.complete())
            write_plan(replace, table);
        return table.report_failure();
    }
    for (const Identity &who : identities_) {
        const ov_clock *present = table.find(who.kind, who.id);
        const ClockRequest wanted(when_, checked_, replace ? present : nullptr);
        const ClockText words(wanted.request, when_.passed_on());
        if (present != nullptr)
            report(replace ? "%s: would be set anew, %s; has %s"
                           : "%s: would be given %s; but has %s, which would stay",
                   who.numbered(), words.text, ClockText(*present).text);
        else if (table.complete())
            report("%s: would be given %s; has no clock%s now", who.numbered(), words.text,
                   getuid() == 0 ? "" : " that you may see");
        else
            report("%s: would be given %s; whether it has a clock now cannot be told%s%s", who.numbered(), words.text,
                   table.opened() ? "" : ": ", table.opened() ? "" : strerror(table.error()));
    }
    return done;
}

// The whole of a subcommand that gives clocks.
static int give_clocks(const char *subcommand, const char *usage, bool replace, int argc, char **argv)
{
    AddOptions words;
    if (const int status = words.read(subcommand, argc, argv))
        return status;
    if (words.help()) {
        printf("%s\nWHEN is one of\n\n%s"
               "  --descendants       of a process: what it starts from now on lives by its clock, too\n",
               usage, when_help);
        if (!replace)
            puts("  --replace           replace a clock that is there; without a time it goes on from what it shows");
        printf("  --dry-run           only print what would be done; with --json for programs\n");
        return done;
    }
    if (words.json() && !words.dry_run())
        return usage_error("--json goes with --dry-run");
    if (const int status = words.check(words.dry_run()))
        return status;
    replace |= words.replace();
    if (!words.dry_run())
        return words.carry_out(replace);
    Clocks table;
    table.read();
    return words.report_plan(replace, table);
}

int add_command(int argc, char **argv)
{
    return give_clocks("add", add_usage, false, argc, argv);
}

int set_command(int argc, char **argv)
{
    return give_clocks("set", set_usage, true, argc, argv);
}

} // namespace ovuser
