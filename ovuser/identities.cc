#include "ovuser/identities.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/command.h"
#include "ovuser/text.h"

namespace ovuser
{

Identities::~Identities()
{
    free(list_);
}

static int resolve(char *text, Identity &identity)
{
    ov_request request = {};
    request.operation = OV_LAST_OPERATION; // which does nothing but look at the identities
    read_identities(1, &text, request);
    char *message = nullptr;
    int32_t result = ov_process_request(&request, &message);
    if (result == OV_OK) {
        identity = {text, request.id_kind[0], 0, false};
        parse_uid(request.id_text[0], identity.kind, &identity.id);
        if (identity.kind == OV_USER && getuid() != 0 && identity.id != getuid()) {
            message = strdup("ovuser: error: Non-root user can not list other OV users.\n");
            result = OV_NOT_PERMITTED;
        }
    }
    return result == OV_OK ? done : conclude(result, message);
}

int Identities::read(int count, char **texts)
{
    list_ = static_cast<Identity *>(calloc(static_cast<size_t>(count), sizeof *list_));
    if (list_ == nullptr && count > 0)
        return misunderstood("no memory for %d identities", count);
    for (; count_ < count; ++count_)
        if (const int status = resolve(texts[count_], list_[count_]))
            return status;
    return done;
}

bool Identities::include(const ov_clock &clock)
{
    bool included = none();
    for (Identity &identity : *this)
        if (identity.kind == clock.kind && identity.id == clock.id)
            identity.met = included = true;
    return included;
}

bool Identities::all_met() const
{
    return std::all_of(begin(), end(), [](const Identity &identity) { return identity.met; });
}

int Identities::conclude() const
{
    for (const Identity &identity : *this) {
        if (identity.met)
            continue;
        fputs("ovuser: warning: ", stderr);
        print_visible(stderr, identity.text);
        // Of other users' processes and of other groups an ordinary caller is not told.
        fprintf(stderr, " does not have a virtual clock%s\n", getuid() == 0 ? "" : " that you may see");
    }
    return all_met() ? done : check_rc(OV_NO_CLOCK);
}

} // namespace ovuser
