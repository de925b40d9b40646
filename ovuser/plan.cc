#include "ovuser/plan.h"

#include <cstdio>

#include "ovuser/change.h"
#include "ovuser/owner.h"

namespace ovuser
{

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

void Plan::write_state(const char *key, const ov_clock *clock)
{
    if (clock == nullptr)
        return json_.word(key, "null");
    json_.open('{', key);
    write_clock_state(json_, *clock, real_);
    json_.close('}');
}

void Plan::write(const char *identity, int line, const ov_clock *from, const ov_clock *to)
{
    const ov_clock &either = from != nullptr ? *from : *to;
    json_.open('{');
    json_.text("identity", identity);
    if (line > 0)
        json_.number("line", line);
    json_.text("kind", kind_word(either.kind));
    json_.number("id", either.id);
    write_state("from", from);
    write_state("to", to);
    json_.close('}');
}

void Plan::give(const Identity &who, int line, const When &when, int64_t checked, const ov_clock *present)
{
    const Change kind = present == nullptr ? added : replace_ ? changed : left;
    if (kind != kind_)
        return;
    const ov_clock wanted = Wanted(when, checked, present).clock_of(who);
    write(who.label(), line, present, kind == left ? present : &wanted);
}

void Plan::take_away(const ov_clock &clock)
{
    const Owner owner(clock);
    if (kind_ == (owner.exists ? deleted : failed))
        write(owner.text, 0, &clock, owner.exists ? nullptr : &clock);
}

} // namespace ovuser
