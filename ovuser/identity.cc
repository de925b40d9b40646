#include "ovuser/identity.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "ov_helper.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

const char *kind_word(int32_t kind)
{
    return kind == OV_USER ? "user" : kind == OV_GROUP ? "group" : "process";
}

const char *Identity::label() const
{
    static char own[1024];
    if (name != nullptr)
        return text;
    snprintf(own, sizeof own, "u:%s", get_username(kind, id));
    return own;
}

const char *Identity::numbered() const
{
    static char own[1100];
    uint32_t number;
    const bool typed = name != nullptr && name[strspn(name, " +-0123456789")] != '\0'; // a name needs no lookup
    const char *known = typed ? name : get_username(kind, id);                         // UNKNOWN may be a real name
    if (kind == OV_PROCESS || (strcmp(known, "UNKNOWN") == 0 && parse_uid(known, kind, &number) != 0))
        snprintf(own, sizeof own, "%c:%" PRIu32, *kind_word(kind), id);
    else
        snprintf(own, sizeof own, "%c:%s (%" PRIu32 ")", *kind_word(kind), Quoted(known).text, id);
    return own;
}

void Identity::put_into(ov_request &request) const
{
    request.id_count = name != nullptr ? 1 : 0; // no identity means the caller
    request.id_kind[0] = kind;
    request.id_text[0] = name;
}

// The highest process id of this kernel.
static int64_t highest_pid()
{
    static int64_t highest = 0;
    if (highest > 0)
        return highest;
    FILE *const file = fopen("/proc/sys/kernel/pid_max", "re");
    if (file == nullptr || fscanf(file, "%" SCNd64, &highest) != 1)
        highest = 4194304; // the highest that any kernel allows
    if (file != nullptr)
        fclose(file);
    return highest;
}

// The engine cuts numbers to 32 bits. This refuses those that would become another id, unless they are a name.
static int refuse_other_numbers(const Identity &who)
{
    char *end;
    errno = 0;
    const long long number = strtoll(who.name, &end, 10);
    const bool fits = errno == 0;
    if (end == who.name || *end != '\0')
        return done;
    const bool process = who.kind == OV_PROCESS;
    const int64_t least = process ? 1 : 0, most = process ? highest_pid() : INT64_C(4294967294);
    const bool in_range = fits && number >= least && number <= most;
    if (in_range || (who.kind == OV_USER && getpwnam(who.name) != nullptr) ||
        (who.kind == OV_GROUP && getgrnam(who.name) != nullptr))
        return done;
    return usage_error("%s: the number of a %s is from %" PRId64 " to %" PRId64, who.text, kind_word(who.kind), least,
                       most);
}

int read_identity(const char *text, Identity &identity)
{
    static constexpr struct {
        char letter;
        ov_kind kind;
    } prefixes[] = {{'u', OV_USER}, {'g', OV_GROUP}, {'p', OV_PROCESS}};
    identity = {text, text, OV_USER, 0, false};
    for (const auto &prefix : prefixes)
        if (text[0] == prefix.letter && text[1] == ':')
            identity = {text, text + 2, prefix.kind, 0, false};
    constexpr size_t longest = 65000; // name services may fail on longer names
    if (strlen(text) > longest)
        return usage_error("an identity of %zu characters names nobody", strlen(text));
    if (identity.name[0] == '\0') // the engine would take it for root
        return usage_error("'%s' names nobody: an unset variable, perhaps", text);
    return refuse_other_numbers(identity);
}

int read_identities(IdentityList &identities, int count, char **texts)
{
    for (int i = 0; i < count; ++i) {
        Identity identity;
        if (const int status = read_identity(texts[i], identity))
            return status;
        if (identities.add(identity) == nullptr)
            return failed("no memory for %d identities", count);
    }
    return done;
}

int read_identities_or_caller(IdentityList &identities, const char *subcommand, int count, char **texts)
{
    if (count > 0)
        return read_identities(identities, count, texts);
    if (getuid() == 0)
        return usage_error("%s whom? root has no clock; write u:USER, g:GROUP or p:PID", subcommand);
    const Identity caller = {"", nullptr, OV_USER, getuid(), false};
    return identities.add(caller) != nullptr ? int{done} : failed("no memory");
}

struct Named {
    char *name;
    size_t position; // the earlier of two equal names counts
    uint32_t id;

    bool operator<(const Named &other) const
    {
        const int order = strcmp(name, other.name);
        return order != 0 ? order < 0 : position < other.position;
    }
};

// Users or groups by name.
struct NameList {
    int lookups = 0;
    Array<Named> names;

    ~NameList();
    bool add(const char *name, uint32_t id);
    void read(int32_t kind);
    const Named *find(const char *name) const;
};

NameList::~NameList()
{
    for (const Named &each : names)
        free(each.name);
}

bool NameList::add(const char *name, uint32_t id)
{
    char *const copy = strdup(name);
    return copy != nullptr && names.add({copy, names.count(), id}) != nullptr;
}

void NameList::read(int32_t kind)
{
    if (kind == OV_USER) {
        setpwent();
        for (const passwd *user; (user = getpwent()) != nullptr && add(user->pw_name, user->pw_uid);)
            ;
        endpwent();
    } else {
        setgrent();
        for (const group *entry; (entry = getgrent()) != nullptr && add(entry->gr_name, entry->gr_gid);)
            ;
        endgrent();
    }
    std::sort(names.begin(), names.end());
}

const Named *NameList::find(const char *name) const
{
    const Named *found = std::lower_bound(names.begin(), names.end(), name, [](const Named &one, const char *text) {
        return strcmp(one.name, text) < 0;
    });
    return found != names.end() && strcmp(found->name, name) == 0 ? found : nullptr;
}

// Like parse_uid, but from the 32nd lookup on it reads the whole database once. A name that is not in it is still
// looked up.
static int look_up(const char *name, int32_t kind, uint32_t *number)
{
    static NameList users, groups;
    constexpr int many = 32;
    NameList &list = kind == OV_USER ? users : groups;
    if (kind == OV_PROCESS)
        return parse_uid(name, kind, number);
    if (++list.lookups == many)
        list.read(kind);
    const Named *known = list.find(name);
    if (known == nullptr)
        return parse_uid(name, kind, number);
    *number = known->id;
    return 0;
}

// Finds the clock that an ended process has left to its descendants, which parse_uid no longer resolves.
static bool find_left_clock(Identity &identity)
{
    char *end;
    const long pid = strtol(identity.name, &end, 10);
    ov_refined refined;
    if (*end != '\0' || ov_refined_clock(OV_PROCESS, static_cast<uint32_t>(pid), &refined) != 0)
        return false;
    identity.id = static_cast<uint32_t>(pid);
    return refined.generations == 0;
}

// Words that people write in place of a prefix.
static constexpr struct {
    const char *word;
    char letter;
} long_prefixes[] = {
    {"user:", 'u'}, {"uid:", 'u'}, {"group:", 'g'}, {"gid:", 'g'}, {"process:", 'p'}, {"pid:", 'p'},
};

// Hints at what a nonexistent identity may have meant.
static void hint_on_identity(const char *typed, int32_t operation)
{
    if (strcmp(typed, "all") == 0 && operation != OV_ADD)
        return hint_on_all(operation == OV_DELETE);
    for (const auto &prefix : long_prefixes) {
        const size_t length = strlen(prefix.word);
        if (strncmp(typed, prefix.word, length) == 0)
            return hint("did you mean %c:%s?", prefix.letter, typed + length);
    }
    if (strchr(typed, ',') != nullptr)
        return hint("identities are separated by blanks, not by commas");
    if (strchr(typed, ':') != nullptr && typed[0] >= '0' && typed[0] <= '9')
        return hint("a time of two words is quoted: --at '2030-12-25 09:00'");
    if (hint_on_stray_time(1, const_cast<char *const *>(&typed)))
        return;
    uint32_t number;
    if (strchr(typed, ':') == nullptr && parse_uid(typed, OV_GROUP, &number) == 0)
        hint("did you mean the group, g:%s?", typed);
    else if (strchr(typed, ':') == nullptr && parse_uid(typed, OV_PROCESS, &number) == 0)
        hint("did you mean the process, p:%s?", typed);
}

int check_identities(IdentityList &identities, ov_request &request, int64_t *value, bool log)
{
    const bool several = identities.count() > 1;
    int64_t unused;
    const bool root = getuid() == 0;
    for (Identity &identity : identities) {
        bool found = identity.name == nullptr || look_up(identity.name, identity.kind, &identity.id) == 0;
        const bool left =
            !found && identity.kind == OV_PROCESS && request.operation == OV_DELETE && find_left_clock(identity);
        found = found || left;
        identity.put_into(request);
        if (left || (root && found && identity.id != 0)) // root may: saves the engine a second lookup
            request.id_count = 0;
        char *message = nullptr;
        if (const int32_t result = ov_preview_request(&request, value != nullptr ? value : &unused, &message)) {
            if (log && result == OV_NOT_PERMITTED && request.operation != OV_LIST)
                audit(request, result, message);
            const int status = print_result(result, message, several ? identity.label() : nullptr);
            if (result == OV_UNKNOWN_IDENTITY)
                hint_on_identity(identity.text, request.operation);
            if (several && request.operation != OV_LIST)
                usage_error("nothing has been changed for any of them");
            return status;
        }
        if (!found && look_up(identity.name, identity.kind, &identity.id) != 0) // although the engine has found it
            return failed("%s: looked up twice, and found but once: try again", identity.label());
        const auto is_same = [&](const Identity &other) {
            return other.kind == identity.kind && other.id == identity.id;
        };
        if (request.operation != OV_LIST && std::find_if(identities.begin(), &identity, is_same) != &identity) {
            const int status = usage_error("%s is given twice", identity.text);
            usage_error("nothing has been changed for any of them");
            return status;
        }
    }
    return done;
}

static bool has_unseen_character(const char *text)
{
    for (; *text != '\0'; ++text)
        if (unseen_character(text) >= 0)
            return true;
    return false;
}

ListedIdentity::ListedIdentity(const ov_clock &clock) : exists(false), kind_(clock.kind), id_(clock.id)
{
    char digits[12];
    snprintf(digits, sizeof digits, "%" PRIu32, id_);
    for (const char *name : {clock.name, static_cast<const char *>(digits)}) {
        uint32_t number;
        snprintf(text, sizeof text, "%c:%s", *kind_word(kind_), name);
        exists = !has_unseen_character(name) && parse_uid(name, kind_, &number) == 0 && number == id_;
        if (exists)
            return;
    }
}

} // namespace ovuser
