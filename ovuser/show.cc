#include <getopt.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

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

// The clock by which an identity lives: its own, its user's or its group's, in this order. A user's group is the login
// group, where the user's programs start.
class EffectiveClock
{
  public:
    EffectiveClock(const Clocks &clocks, const Identity &who);

    // Null when there is none.
    const ov_clock *clock() const { return clock_; }
    // own, user or group; none; or unknown where the caller may not see the clock.
    const char *source() const;

    // Whether a clock would apply if the effective one were not there.
    bool overrules(const ov_clock &clock) const;
    // Whether a clock belongs to a process or user of this identity and so overrules its clock there.
    bool is_overruled_by(const ov_clock &clock) const;

  private:
    enum Rank { own, of_user, of_group, ranks };

    Rank rank_of(const ov_clock &clock) const;
    bool sees_all_of_them() const;

    Identity who_;
    int64_t ids_[ranks]; // -1 for none
    bool certain_ = true;
    const ov_clock *clock_ = nullptr;
    Rank rank_ = ranks;
};

static int64_t login_group(uint32_t uid)
{
    const passwd *user = getpwuid(uid);
    return user != nullptr ? int64_t{user->pw_gid} : -1;
}

EffectiveClock::EffectiveClock(const Clocks &clocks, const Identity &who) : who_(who), ids_{who.id, -1, -1}
{
    if (who.kind == OV_PROCESS) {
        const ov::ProcessIds ids = ov::process_ids(static_cast<int32_t>(who.id));
        certain_ = ids.known();
        ids_[of_user] = ids.known() ? int64_t{ids.uid} : -1;
        ids_[of_group] = ids.known() ? int64_t{ids.gid} : -1;
    } else if (who.kind == OV_USER) {
        ids_[of_group] = login_group(who.id);
    }
    for (const ov_clock &clock : clocks) {
        if (const Rank rank = rank_of(clock); rank < rank_) {
            rank_ = rank;
            clock_ = &clock;
        }
    }
    certain_ = clock_ != nullptr || (certain_ && clocks.complete() && sees_all_of_them());
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
    if (clock.kind == OV_USER && clock.id == ids_[of_user])
        return of_user;
    return clock.kind == OV_GROUP && clock.id == ids_[of_group] ? of_group : ranks;
}

const char *EffectiveClock::source() const
{
    static constexpr const char *words[] = {"own", "user", "group", "none"};
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

static void print_details(const ov_clock &clock, time_t real)
{
    printf("  shows     %s\n", TimeText(clock.value).text);
    const int64_t ahead = seconds_ahead(clock, real);
    printf("  %s%s\n", ahead < 0 ? "behind    " : "ahead     ", DistanceText(ahead).text);
    printf("  type      %s\n", clock_speed_string(clock.speed));
    printf("  rewinds   %s\n", clock.rewind != 0 ? "at midnight, in the zone where it was set" : "never");
    if (clock.origin != 0)
        printf("  origin    @%" PRId64 "\n", clock.origin);
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
    if (clock == nullptr) {
        puts(strcmp(effective.source(), "none") == 0 ? "no clock, and so real time"
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
        print_details(*clock, real);
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
