// The users, groups and processes that a command line or a clock names.
#pragma once

#include <cstdint>

#include "ov_helper.h"
#include "ovuser/array.h"

namespace ovuser
{

// "user", "group" or "process". The first letter is the prefix of an identity.
const char *kind_word(int32_t kind);

struct Identity {
    const char *text; // as typed; "" for an implied caller
    const char *name; // without the prefix; null for an implied caller
    int32_t kind;
    uint32_t id;
    bool met; // found in the clock table

    // As typed, or u:NAME for the caller. Static.
    const char *label() const;

    // Name and number of a resolved identity: u:alice (2001), p:4242. Static.
    const char *numbered() const;

    // Puts this identity alone into a request, as typed.
    void put_into(ov_request &request) const;
};

// Reads u:NAME, g:NAME, p:PID, or a bare user name. Refuses an empty name, and a number that is out of range.
int read_identity(const char *text, Identity &identity);

using IdentityList = Array<Identity>;

// Reads any number of identities.
int read_identities(IdentityList &identities, int count, char **texts);

// The same, but no identity means the caller. root, which has no clock, must name one.
int read_identities_or_caller(IdentityList &identities, const char *subcommand, int count, char **texts);

// Resolves the identities and checks that the request may be made of each, without changing anything. Stores its clock
// value. Logs the refusal of a change that the caller may not make.
int check_identities(IdentityList &identities, ov_request &request, int64_t *value = nullptr, bool log = true);

// The identity of a listed clock, as the command line takes it.
struct ListedIdentity {
    explicit ListedIdentity(const ov_clock &clock);
    ListedIdentity(const ListedIdentity &) = delete;
    ListedIdentity &operator=(const ListedIdentity &) = delete;

    // u:NAME, g:NAME or p:PID. The number stands for a name that is another's or has invisible characters.
    char text[1032];
    // Whether the user, group or process still exists.
    bool exists;

    Identity identity() const { return {text, text + 2, kind_, id_, false}; }

  private:
    int32_t kind_;
    uint32_t id_;
};

} // namespace ovuser
