// The identities of a command line, each of them checked.
#pragma once

#include <cstdint>

#include "ov_helper.h"

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

class Identities
{
  public:
    Identities() = default;
    ~Identities();
    Identities(const Identities &) = delete;
    Identities &operator=(const Identities &) = delete;

    // Takes any number of them. Anything but done is the exit status, with the reason told.
    int read(int count, char **texts);
    // The same, but none means the caller, unless he is root, who has no clock: that is refused.
    int read_or_caller(const char *subcommand, int count, char **texts);
    // Asks the engine, without doing anything, whether the request may be made of each of them, and for its clock
    // value, when it has one. Resolves them. Anything but done is the exit status, with the reason told.
    int check(ov_request &request, int64_t *value = nullptr);

    bool none() const { return count_ == 0; }
    bool several() const { return count_ > 1; }
    Identity *begin() const { return list_; }
    Identity *end() const { return list_ + count_; }

    // Whether a clock is one of these's; everybody's is where there are none.
    bool include(const ov_clock &clock);
    bool all_met() const;
    // Names on standard error those that were not met. Returns the exit status.
    int conclude() const;

  private:
    bool make_room(int count);

    Identity *list_ = nullptr;
    int count_ = 0;
};

} // namespace ovuser
