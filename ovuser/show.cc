#include <getopt.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/container_files.h"
#include "base/process_ids.h"
#include "ovuser/clocks.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/text.h"

namespace ovuser
{

static constexpr char show_help[] =
    "usage: ovuser show [IDENTITY...] [--json]\n"
    "\n"
    "Shows which clock applies to each IDENTITY, and why: its own, that of the user or group of a process, that of\n"
    "a user's login group, or none.\n"
    "\n"
    "  --json  for programs\n";

static constexpr option show_options[] = {
    {"help", no_argument, nullptr, 'h'},
    {"json", no_argument, nullptr, 'j'},
    {},
};

// The clock that applies to an identity: its own, one that an ancestor of a process passes on, its user's or its
// group's, in this order. A user's group is the login group, where the user's programs start.
class EffectiveClock
{
  public:
    EffectiveClock(const Clocks &clocks, const Identity &who);

    // Null when there is none.
    const ov_clock *clock() const { return clock_; }
    // own, ancestor, user or group; none; or unknown where the caller may not see the clock.
    const char *source() const;
    // The process whose clock is passed on, although the caller may not see it; 0 if its number is unknown. And how
    // many generations up it is; 0 for none.
    uint32_t ancestor() const { return static_cast<uint32_t>(ids_[of_ancestor]); }
    int32_t generations() const { return generations_; }

    // Whether a clock would apply if the effective one were not there.
    bool overrules(const ov_clock &clock) const;
    // Whether a clock belongs to a process or user of this identity and so overrules its clock there.
    bool is_overruled_by(const ov_clock &clock) const;

  private:
    enum Rank { own, of_ancestor, of_user, of_group, ranks };

    void find_ancestor();
    Rank rank_of(const ov_clock &clock) const;
    bool sees_all_of_them() const;

    Identity who_;
    int64_t ids_[ranks]; // -1 for none
    int32_t generations_ = 0;
    bool certain_ = true;
    const ov_clock *clock_ = nullptr;
    Rank rank_ = ranks;
};

static int64_t login_group(uint32_t uid)
{
    const passwd *user = getpwuid(uid);
    return user != nullptr ? int64_t{user->pw_gid} : -1;
}

EffectiveClock::EffectiveClock(const Clocks &clocks, const Identity &who) : who_(who), ids_{who.id, -1, -1, -1}
{
    if (who.kind == OV_PROCESS) {
        const ov::ProcessIds ids = ov::process_ids(static_cast<int32_t>(who.id));
        certain_ = ids.known();
        ids_[of_user] = ids.known() ? int64_t{ids.uid} : -1;
        ids_[of_group] = ids.known() ? int64_t{ids.gid} : -1;
        find_ancestor();
    } else if (who.kind == OV_USER) {
        ids_[of_group] = login_group(who.id);
    }
    for (const ov_clock &clock : clocks) {
        if (const Rank rank = rank_of(clock); rank < rank_) {
            rank_ = rank;
            clock_ = &clock;
        }
    }
    if (generations_ > 0 && rank_ > of_ancestor) { // a clock that the caller may not see
        rank_ = of_ancestor;
        clock_ = nullptr;
        certain_ = true;
        return;
    }
    certain_ = clock_ != nullptr || (certain_ && clocks.complete() && sees_all_of_them());
}

void EffectiveClock::find_ancestor()
{
    ov_refined refined = {};
    if (ov_refined_clock(OV_PROCESS, who_.id, &refined) != 0)
        certain_ = certain_ && (errno == ENOENT || errno == ENOTTY);
    else if (refined.generations > 0)
        ids_[of_ancestor] = refined.id;
    generations_ = refined.generations;
    ov::close_left_open();
}

// An ordinary caller sees the clocks of its own user, group and processes.
bool EffectiveClock::sees_all_of_them() const
{
    const int64_t user = who_.kind == OV_USER ? who_.id : ids_[of_user];
    const int64_t group = who_.kind == OV_GROUP ? who_.id : ids_[of_group];
    return getuid() == 0 || ((user < 0 || user == int64_t{getuid()}) && (group < 0 || group == int64_t{getgid()}));
}

EffectiveClock::Rank EffectiveClock::rank_of(const ov_clock &clock) const
{
    if (clock.kind == who_.kind && clock.id == who_.id)
        return own;
    if (clock.kind == OV_PROCESS && clock.id == ids_[of_ancestor])
        return of_ancestor;
    if (clock.kind == OV_USER && clock.id == ids_[of_user])
        return of_user;
    return clock.kind == OV_GROUP && clock.id == ids_[of_group] ? of_group : ranks;
}

const char *EffectiveClock::source() const
{
    static constexpr const char *words[] = {"own", "ancestor", "user", "group", "none"};
    return certain_ ? words[rank_] : "unknown";
}

bool EffectiveClock::overrules(const ov_clock &clock) const
{
    return rank_ < rank_of(clock) && rank_of(clock) < ranks;
}

bool EffectiveClock::is_overruled_by(const ov_clock &clock) const
{
    if (clock.kind == OV_PROCESS)
        return (who_.kind == OV_USER && clock.owner == who_.id) ||
               (who_.kind == OV_GROUP && clock.owner_group == who_.id);
    return clock.kind == OV_USER && who_.kind == OV_GROUP && login_group(clock.id) == who_.id;
}

static void print_details(const ov_clock &clock, time_t real, const char *simulated_in)
{
    printf("  shows     %s\n", TimeText(clock.value).text);
    const int64_t ahead = seconds_ahead(clock, real);
    printf("  %s%s\n", ahead < 0 ? "behind    " : "ahead     ", DistanceText(ahead).text);
    printf("  type      %s\n", clock_speed_string(clock.speed));
    printf("  rewinds   %s\n", clock.rewind != 0 ? "at midnight, in the zone where it was set" : "never");
    if (clock.origin != 0)
        printf("  origin    @%" PRId64 "\n", clock.origin);
    if (const uint32_t passed_on = passed_on_by(clock))
        printf("  reaches   its descendants%s\n", (passed_on & OV_REFINE_LASTING) != 0 ? ", until the last ends" : "");
    fputs(simulated_in != nullptr ? "  kept by   the simulator, in " : "  kept by   the kernel module", stdout);
    print_visible(stdout, simulated_in != nullptr ? simulated_in : "");
    fputc('\n', stdout);
}

static void print_ancestor(const EffectiveClock &effective)
{
    const uint32_t ancestor = effective.ancestor();
    fputs("the clock of ", stdout);
    if (ancestor != 0)
        printf("p:%" PRIu32 ", ", ancestor);
    if (effective.generations() == 1)
        fputs("its parent", stdout);
    else
        printf("%" PRId32 " generations up", effective.generations());
    puts(effective.clock() != nullptr                                     ? ""
         : ancestor != 0 && is_pid_alive(static_cast<int>(ancestor)) == 0 ? ", which has ended"
                                                                          : ", which you may not see");
}

template <typename Predicate> static void print_those(const char *title, const Clocks &clocks, Predicate matches)
{
    const char *before = title;
    for (const ov_clock &clock : clocks) {
        if (!matches(clock))
            continue;
        printf("%s ", before);
        print_identity(stdout, clock);
        before = ",";
    }
    if (before != title)
        fputc('\n', stdout);
}

static void show_as_text(const Clocks &clocks, const Identity &who, const EffectiveClock &effective, time_t real)
{
    const char *label = who.label();
    const int prefix = who.name != who.text ? 2 : 0;
    printf("%.*s", prefix, label);
    print_visible(stdout, Quoted(label + prefix).text, 10 - prefix);
    fputs("  ", stdout);
    const ov_clock *clock = effective.clock();
    if (strcmp(effective.source(), "ancestor") == 0) {
        print_ancestor(effective);
    } else if (clock == nullptr) {
        puts(strcmp(effective.source(), "none") == 0 ? clocks.simulated_in() != nullptr
                                                           ? "no clock in the simulator, and so real time"
                                                           : "no clock, and so real time"
             : getuid() != 0 && clocks.complete()    ? "no clock that you may see"
                                                     : "which clock applies cannot be told");
    } else if (strcmp(effective.source(), "own") == 0) {
        fputs("a clock of its own\n", stdout);
    } else {
        printf("the clock of its %s, ", effective.source());
        print_identity(stdout, *clock);
        fputc('\n', stdout);
    }
    if (clock != nullptr)
        print_details(*clock, real, clocks.simulated_in());
    print_those("  before   ", clocks, [&](const ov_clock &other) { return effective.overrules(other); });
    print_those("  not for  ", clocks, [&](const ov_clock &other) { return effective.is_overruled_by(other); });
}

template <typename Predicate>
static void write_those(Json &json, const char *key, const Clocks &clocks, Predicate matches)
{
    json.open('[', key);
    for (const ov_clock &clock : clocks) {
        if (!matches(clock))
            continue;
        json.open('{');
        write_owner(json, clock);
        json.close('}');
    }
    json.close(']');
}

static void show_as_json(Json &json, const Clocks &clocks, const Identity &who, const EffectiveClock &effective,
                         time_t real)
{
    json.open('{');
    json.text("kind", kind_word(who.kind));
    json.number("id", who.id);
    json.text("identity", who.label());
    json.text("lives_by", effective.source());
    json.number("generations", effective.generations());
    json.text("kept_by", clocks.simulated_in() != nullptr ? "simulator" : "module");
    if (const ov_clock *clock = effective.clock()) {
        json.open('{', "clock");
        write_clock(json, *clock, real);
        json.close('}');
    } else {
        json.null("clock");
    }
    write_those(json, "overrules", clocks, [&](const ov_clock &other) { return effective.overrules(other); });
    write_those(json, "overruled_by", clocks, [&](const ov_clock &other) { return effective.is_overruled_by(other); });
    json.close('}');
}

int show_command(int argc, char **argv)
{
    bool as_json = false;
    for (int choice; (choice = getopt_long(argc, argv, "h", show_options, nullptr)) != -1;) {
        if (choice == 'h') {
            fputs(show_help, stdout);
            return done;
        }
        if (choice != 'j')
            return report_bad_option(argv, show_options);
        as_json = true;
    }
    IdentityList identities;
    if (const int status = read_identities_or_caller(identities, "show", argc - optind, argv + optind))
        return status;
    ov_request request = {};
    request.operation = OV_LIST;
    if (const int status = check_identities(identities, request))
        return status;
    Clocks clocks;
    clocks.read();
    if (!clocks.opened())
        return clocks.report_failure();
    const time_t real = real_time();
    Json json(stdout);
    if (as_json)
        json.open('[');
    for (const Identity &who : identities) {
        const EffectiveClock effective(clocks, who);
        if (as_json)
            show_as_json(json, clocks, who, effective, real);
        else
            show_as_text(clocks, who, effective, real);
        if (!output_works())
            break;
    }
    if (as_json) {
        json.close(']');
        fputc('\n', stdout);
    }
    return clocks.report_failure();
}

} // namespace ovuser
