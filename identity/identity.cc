#include <grp.h>
#include <pwd.h>

#include <cstdio>
#include <cstdlib>

#include "base/integer.h"
#include "identity/kinds.h"
#include "identity/name.h"
#include "ov_helper.h"

namespace ov
{

// The result of get_username.
static char display_name[1024];

// Reads a text that is a decimal number as a whole, and keeps its low 32 bits.
static bool read_whole_decimal(const char *text, uint32_t &number)
{
    char *end;
    number = static_cast<uint32_t>(strtol(text, &end, 10));
    return *end == '\0';
}

// A name stands for the number in its entry. A number that the database knows stands for itself.
static bool find_user(const char *text, uint32_t &uid)
{
    if (const passwd *user = getpwnam(text)) {
        uid = user->pw_uid;
        return true;
    }
    return read_whole_decimal(text, uid) && getpwuid(uid) != nullptr;
}

static bool find_group(const char *text, uint32_t &gid)
{
    if (const group *entry = getgrnam(text)) {
        gid = entry->gr_gid;
        return true;
    }
    return read_whole_decimal(text, gid) && getgrgid(gid) != nullptr;
}

static bool find_process(const char *text, uint32_t &pid)
{
    return read_whole_decimal(text, pid) && low_32(pid) >= 0 && is_pid_alive(low_32(pid)) != 0;
}

const char *name_of(int32_t kind, uint32_t number)
{
    const passwd *user = kind == OV_USER ? getpwuid(number) : nullptr;
    const group *entry = kind == OV_GROUP ? getgrgid(number) : nullptr;
    return user != nullptr ? user->pw_name : entry != nullptr ? entry->gr_name : nullptr;
}

} // namespace ov

int parse_uid(const char *text, int kind, uint32_t *number)
{
    if (text == nullptr)
        return -1;
    uint32_t found = 0;
    const bool exists = kind == OV_USER      ? ov::find_user(text, found)
                        : kind == OV_GROUP   ? ov::find_group(text, found)
                        : kind == OV_PROCESS ? ov::find_process(text, found)
                                             : false;
    if (!exists)
        return -1;
    *number = found;
    return 0;
}

const char *id_string(int kind)
{
    static constexpr const char *words[] = {"username, or uid", "groupname, or gid", "process id"};
    return ov::is_known_kind(kind) ? words[kind - OV_USER] : "unknown id";
}

char *get_username(int kind, uint32_t number)
{
    const char *name = ov::name_of(kind, number);
    if (name == nullptr && (kind == OV_USER || kind == OV_GROUP))
        name = "UNKNOWN";
    if (name != nullptr)
        snprintf(ov::display_name, sizeof ov::display_name, "%s", name);
    else
        snprintf(ov::display_name, sizeof ov::display_name, "%d", ov::low_32(number));
    return ov::display_name;
}
