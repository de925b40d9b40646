#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "ovuser/array.h"
#include "ovuser/change.h"
#include "ovuser/clock_file.h"
#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"

namespace ovuser
{

static constexpr char apply_help[] =
    "usage: ovuser apply [FILE] [--prune [--empty]] [--replace] [--dry-run [--json]]\n"
    "\n"
    "Adds the clocks in FILE (default: /etc/orvane/clocks; - is standard input). Each line has the words that\n"
    "'ovuser add' takes. Clocks that are there stay as they are. If a line is wrong, nothing is changed.\n"
    "\n"
    "  --prune    delete the clocks that FILE does not name\n"
    "  --empty    with --prune, accept a FILE without clocks, which deletes all\n"
    "  --replace  replace clocks that are there\n"
    "  --dry-run  only print what would be done; with --json for programs\n";

struct ApplyOptions {
    bool prune = false, empty = false, replace = false, dry_run = false, json = false;
};

// A line of the file.
struct FileLine {
    int32_t kind; // the identity, once it is resolved
    uint32_t id;
    int number;
    AddOptions words;

    const Identity &who() { return *words.identities().begin(); }
};

class Applier
{
  public:
    Applier(const char *path, const ApplyOptions &options) : file_(path), options_(options) {}
    ~Applier();
    Applier(const Applier &) = delete;
    Applier &operator=(const Applier &) = delete;

    // Both return the exit status. If read() fails, nothing may be carried out.
    int read();
    int carry_out();

  private:
    int read_line(int argc, char **argv);
    int check(FileLine &line) const;
    FileLine *find(int32_t kind, uint32_t id) const;
    int give(FileLine &line, const Clocks &table);
    int remove_clock(const ov_clock &clock);
    int count(int status, int &counter);
    void sum_up() const;
    void write_plan(const Clocks &table) const;

    ClockFile file_;
    const ApplyOptions options_;
    Array<FileLine *> lines_;
    int added_ = 0, replaced_ = 0, deleted_ = 0, left_ = 0, failed_ = 0;
};

static void free_line(FileLine *line)
{
    line->~FileLine();
    free(line);
}

Applier::~Applier()
{
    for (FileLine *line : lines_)
        free_line(line);
}

FileLine *Applier::find(int32_t kind, uint32_t id) const
{
    for (FileLine *line : lines_)
        if (line->id == id && line->kind == kind)
            return line;
    return nullptr;
}

int Applier::check(FileLine &line) const
{
    AddOptions &words = line.words;
    if (words.help() || words.dry_run() || words.json() || words.replace())
        return usage_error("--help, --dry-run, --json and --replace are not for a line of a file");
    if (words.identities().count() > 1)
        return usage_error("a line is for one clock");
    if (const int status = words.check(options_.dry_run))
        return status;
    line.kind = line.who().kind;
    line.id = line.who().id;
    if (const FileLine *earlier = find(line.kind, line.id))
        return usage_error("%s has a clock on line %d already", line.who().label(), earlier->number);
    return done;
}

int Applier::read_line(int argc, char **argv)
{
    void *memory = malloc(sizeof(FileLine));
    if (memory == nullptr)
        return failed("no memory");
    auto *line = new (memory) FileLine{0, 0, file_.line(), {}};
    int status = line->words.read("add", argc, argv);
    if (status == done)
        status = check(*line);
    if (status == done && lines_.add(line) == nullptr)
        status = failed("no memory");
    if (status != done)
        free_line(line);
    return status;
}

int Applier::read()
{
    if (const int status = file_.read())
        return status;
    int worst = file_.check_characters();
    worst = std::max(worst, file_.check_end());
    char **words;
    for (int count = 1; count > 0;) {
        int status = file_.next_line(words, count);
        if (status == done && count > 0) {
            const SourcePosition here(file_.name(), file_.line());
            status = read_line(count, words);
        }
        worst = std::max(worst, status);
    }
    if (worst == done && lines_.count() == 0 && options_.prune &&
        !options_.empty) { // an empty file is more likely truncated than meant
        worst = usage_error("%s: there is no clock in it, and --prune would delete all", file_.name());
        hint("--empty says that this is meant");
    }
    if (worst != done)
        usage_error("%s: nothing has been changed", file_.name());
    return worst;
}

int Applier::count(int status, int &counter)
{
    ++(status == done ? counter : failed_);
    return status;
}

int Applier::remove_clock(const ov_clock &clock)
{
    const ListedIdentity owner(clock);
    if (!owner.exists)
        return count(failed("%s does not exist any more: only 'ovuser reset' takes its clock away", owner.text),
                     failed_);
    if (!options_.dry_run)
        return count(delete_clock(owner.identity(), true), deleted_);
    report("%s would lose its clock", owner.text);
    return count(done, deleted_);
}

int Applier::give(FileLine &line, const Clocks &table)
{
    const SourcePosition here(file_.name(), line.number);
    const bool is_there = table.find(line.kind, line.id) != nullptr;
    int &counter = is_there ? replaced_ : added_;
    AddOptions &words = line.words;
    if (is_there && !options_.replace)
        return count(done, left_);
    if (options_.dry_run)
        return count(words.report_plan(options_.replace, table), counter);
    if (is_there)
        return count(replace_clock(line.who(), words.when(), words.checked(), true, table), counter);
    bool was_there = false; // a clock that another program has added meanwhile
    const int status = add_clock(line.who(), words.when(), words.checked(), true, &was_there);
    return count(status, was_there ? left_ : added_);
}

void Applier::sum_up() const
{
    if (added_ + replaced_ + deleted_ + failed_ == 0)
        report("%s: nothing to change", file_.name());
    else
        report("%s%s: %d added, %d set anew, %d deleted, %d left as they are, %d failed", file_.name(),
               options_.dry_run ? " (dry run)" : "", added_, replaced_, deleted_, left_, failed_);
}

void Applier::write_plan(const Clocks &table) const
{
    Plan plan(options_.replace);
    while (plan.next()) {
        for (FileLine *line : lines_)
            plan.give(line->who(), line->number, line->words.when(), line->words.checked(),
                      table.find(line->kind, line->id));
        if (options_.prune)
            for (const ov_clock &clock : table)
                if (find(clock.kind, clock.id) == nullptr)
                    plan.remove(clock);
    }
}

int Applier::carry_out()
{
    Lock lock;
    if (const int status = options_.dry_run ? int{done} : lock.take())
        return status;
    Clocks table;
    table.read();
    if (!table.complete())
        return table.report_failure();
    if (options_.json) {
        write_plan(table);
        return done;
    }
    int worst = done;
    if (options_.prune) // makes room first
        for (const ov_clock &clock : table)
            if (find(clock.kind, clock.id) == nullptr)
                worst = std::max(worst, remove_clock(clock));
    for (FileLine *line : lines_)
        worst = std::max(worst, give(*line, table));
    sum_up();
    return worst;
}

int apply_command(int argc, char **argv)
{
    static constexpr option known[] = {
        {"prune", no_argument, nullptr, 'p'},
        {"empty", no_argument, nullptr, 'e'},
        {"replace", no_argument, nullptr, 'r'},
        {"dry-run", no_argument, nullptr, 'n'},
        {"json", no_argument, nullptr, 'j'},
        {"help", no_argument, nullptr, 'h'},
        {},
    };
    ApplyOptions options;
    for (int choice; (choice = getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
        switch (choice) {
        case 'p':
            options.prune = true;
            break;
        case 'e':
            options.empty = true;
            break;
        case 'r':
            options.replace = true;
            break;
        case 'n':
            options.dry_run = true;
            break;
        case 'j':
            options.json = true;
            break;
        case 'h':
            fputs(apply_help, stdout);
            return done;
        default:
            return report_bad_option(argv, known);
        }
    }
    if (options.json && !options.dry_run)
        return usage_error("--json goes with --dry-run");
    if (optind + 1 < argc)
        return usage_error("apply takes one file");
    static constexpr char usual_file[] = "/etc/orvane/clocks";
    const char *file = optind < argc ? argv[optind] : usual_file;
    Applier applier(file, options);
    const int status = applier.read();
    if (file == usual_file && access(file, F_OK) != 0)
        hint("standard input is read where it is named: ovuser apply -");
    return status == done ? applier.carry_out() : status;
}

} // namespace ovuser
