#include "ovuser/names.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "ov_helper.h"

namespace ovuser
{

struct Named {
    char *name;
    size_t place; // of two by the same name the earlier one counts
    uint32_t id;

    bool operator<(const Named &other) const
    {
        const int order = strcmp(name, other.name);
        return order != 0 ? order < 0 : place < other.place;
    }
};

struct NameList {
    int questions = 0;
    Named *names = nullptr;
    size_t count = 0, room = 0;

    bool add(const char *name, uint32_t id);
    void read(int32_t kind);
    const Named *find(const char *name) const;
};

bool NameList::add(const char *name, uint32_t id)
{
    if (count == room) {
        room = 2 * room + 64;
        void *more = realloc(names, room * sizeof *names);
        if (more == nullptr)
            return false;
        names = static_cast<Named *>(more);
    }
    names[count] = {strdup(name), count, id};
    return names[count].name != nullptr && ++count > 0;
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
    std::sort(names, names + count);
}

const Named *NameList::find(const char *name) const
{
    const Named *end = names + count;
    const Named *found =
        std::lower_bound(static_cast<const Named *>(names), end, name,
                         [](const Named &one, const char *text) { return strcmp(one.name, text) < 0; });
    return found != end && strcmp(found->name, name) == 0 ? found : nullptr;
}

int look_up(const char *name, int32_t kind, uint32_t *number)
{
    static NameList users, groups; // until the process ends
    constexpr int many = 32;
    NameList &list = kind == OV_USER ? users : groups;
    if (kind == OV_PROCESS)
        return parse_uid(name, kind, number);
    if (++list.questions == many)
        list.read(kind);
    const Named *known = list.find(name);
    if (known == nullptr)
        return parse_uid(name, kind, number);
    *number = known->id;
    return 0;
}

} // namespace ovuser
