// The users, groups and processes that a command line or a clock names.
#pragma once

#include <cstdint>

#include "ov_helper.h"
#include "ovuser/array.h"

namespace ovuser
{

// user, group or process, whose first letters stand before the colon.
const char *kind_word(int32_t kind);

struct Identity {
    const char *text; // as typed; "" for the caller, who need not be
    const char *name; // behind its prefix; null for the caller
    int32_t kind;
    uint32_t id;
    bool met;        // in the clock table
    bool resolved;   // the id is known
    char digits[12]; // then, for the engine

    // As typed, or u:NAME for the caller. A static text.
    const char *label() const;

    // By name and number: u:alice (2001), p:4242. A static text; the identity is a resolved one.
    const char *numbered() const;

    // To be called when its id is known: requests are about that from then on, whoever may get the name meanwhile.
    void resolve();

    // Makes a request one about this identity alone.
    void put_into(ov_request &request) const;
};

// Takes an identity as the listing prints it apart, u:NAME, g:NAME, p:PID, or a bare user. Anything but done is the
// exit status, with the reason told: an empty one, and a number that is none of its kind.
int read_identity(const char *text, Identity &identity);

using IdentityList = Array<Identity>;

// Reads any number of them. Anything but done is the exit status, with the reason told.
int read_identities(IdentityList &identities, int count, char **texts);

// The same, but none means the caller, unless it is root, which has no clock: that is refused.
int read_identities_or_caller(IdentityList &identities, const char *subcommand, int count, char **texts);

// Asks the engine, without changing anything, whether the request may be made of each identity, and resolves them all.
// The value becomes the request's clock value. Anything but done is the exit status, with the reason told.
int check_identities(IdentityList &identities, ov_request &request, int64_t *value = nullptr);

// The identity of a listed clock, as the command line takes it.
struct ListedIdentity {
    explicit ListedIdentity(const ov_clock &clock);
    ListedIdentity(const ListedIdentity &) = delete;
    ListedIdentity &operator=(const ListedIdentity &) = delete;

    // u:NAME or g:NAME, by number where the name has characters that cannot be seen or is another's; p:PID.
    char text[1032];
    // False where there is no such user, group or process any more, and the text is its number.
    bool exists;

    Identity identity() const
    {
        Identity identity = {text, text + 2, kind_, id_, false, false, ""};
        identity.resolve();
        return identity;
    }

  private:
    int32_t kind_;
    uint32_t id_;
};

} // namespace ovuser
