#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "ovuser/message.h"

namespace ovuser
{

// The number of letters to insert, delete, replace or swap to turn one word into the other. Compares only the
// beginnings of long words.
static int edit_distance(const char *a, const char *b)
{
    constexpr size_t longest = 24;
    const size_t rows = strnlen(a, longest), columns = strnlen(b, longest);
    int distance[longest + 1][longest + 1];
    for (size_t i = 0; i <= rows; ++i) {
        for (size_t j = 0; j <= columns; ++j) {
            int &here = distance[i][j];
            if (i == 0 || j == 0) {
                here = static_cast<int>(i + j);
                continue;
            }
            here = distance[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            here = std::min({here, distance[i - 1][j] + 1, distance[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                here = std::min(here, distance[i - 2][j - 2] + 1);
        }
    }
    return distance[rows][columns];
}

// Accepts errors in a third of the letters, and two in a short word.
Nearest::Nearest(const char *word) : word_(word), distance_(std::max(2, static_cast<int>(strnlen(word, 24) / 3)) + 1) {}

void Nearest::consider(const char *candidate)
{
    const bool begun = word_[0] != '\0' && strncmp(candidate, word_, strlen(word_)) == 0;
    const int distance = begun ? 0 : edit_distance(word_, candidate);
    if (distance >= distance_ || distance >= static_cast<int>(strlen(candidate)))
        return;
    distance_ = distance;
    found_ = candidate;
}

// Prints what getopt would print, but makes the word visible. Returns the first known option that the word begins.
static const option *print_option_error(const char *typed, const option *known)
{
    const bool is_long = strncmp(typed, "--", 2) == 0;
    const size_t length = is_long ? strcspn(typed + 2, "=") : 0;
    const option *first = nullptr;
    int matches = 0;
    for (const option *entry = known; is_long && entry->name != nullptr; ++entry) {
        if (strncmp(typed + 2, entry->name, length) != 0)
            continue;
        matches = strlen(entry->name) == length ? 1 : matches + 1;
        first = matches == 1 ? entry : first;
        if (strlen(entry->name) == length)
            break;
    }
    if (optopt != 0 && (first == nullptr || first->val != optopt)) // one of several letters in a word
        usage_error(strchr("Xo", optopt) != nullptr ? "invalid option, or one without its argument -- '%c'"
                                                    : "invalid option -- '%c'",
                    optopt);
    else if (matches == 0)
        usage_error("unrecognized option '%s'", typed);
    else if (matches > 1)
        usage_error("option '%s' is ambiguous", typed);
    else if (first->has_arg == no_argument)
        usage_error("option '--%s' doesn't allow an argument", first->name);
    else
        usage_error("option '--%s' requires an argument", first->name);
    return first;
}

// What other programs call the same thing.
struct Synonym {
    const char *typed, *meant;
};

void hint_on_subcommand(const char *typed, const Nearest &nearest)
{
    static constexpr Synonym synonyms[] = {
        {"rm", "delete"},
        {"remove", "delete"},
        {"del", "delete"},
        {"unset", "delete"},
        {"status", "show"},
        {"get", "show"},
        {"info", "show"},
        {"clear", "reset"},
        {"flush", "reset"},
        {"restore", "apply"},
        {"load", "apply"},
        {"import", "apply"},
        {"dump", "save"},
        {"export", "save"},
        {"backup", "save"},
        {"exec", "run"},
        {"with", "run"},
        {"ls", "list"},
        {"watch", "list --watch"},
        {"create", "add"},
        {"new", "add"},
        {"change", "set"},
        {"modify", "set"},
        {"update", "set"},
        {"freeze", "set --speed frozen"},
        {"version", "--version"},
    };
    for (const Synonym &synonym : synonyms)
        if (strcmp(typed, synonym.typed) == 0)
            return hint("did you mean %s?", synonym.meant);
    if (nearest.found() != nullptr)
        hint("did you mean %s?", nearest.found());
    else if (typed[0] == '-' || (typed[0] != '\0' && strchr("ugp", typed[0]) != nullptr && typed[1] == ':'))
        hint("a subcommand comes first: ovuser set %s ...", typed);
}

void hint_on_all(bool deletes)
{
    hint(deletes ? "'ovuser reset' deletes all clocks" : "without an identity, 'ovuser list' lists all clocks");
}

static bool is_known(const char *name, const option *known)
{
    const size_t length = strcspn(name, " ");
    for (; known->name != nullptr; ++known)
        if (strlen(known->name) == length && strncmp(known->name, name, length) == 0)
            return true;
    return false;
}

// Knows single letters too, which other programs have for many options.
static bool hint_on_option(const char *subcommand, const char *typed, const option *known)
{
    const bool deletes = strcmp(subcommand, "delete") == 0;
    if ((deletes || strcmp(subcommand, "list") == 0) && (strcmp(typed, "all") == 0 || strcmp(typed, "a") == 0)) {
        hint_on_all(deletes);
        return true;
    }
    static constexpr Synonym synonyms[] = {
        {"time", "at"},
        {"when", "at"},
        {"start", "at"},
        {"datetime", "at"},
        {"a", "at"},
        {"t", "at"},
        {"d", "date"},
        {"timestamp", "epoch"},
        {"e", "epoch"},
        {"after", "in"},
        {"shift", "in"},
        {"weeks", "in"},
        {"seconds", "in"},
        {"i", "in"},
        {"rate", "speed"},
        {"factor", "speed"},
        {"pace", "speed"},
        {"s", "speed"},
        {"freeze", "speed frozen"},
        {"frozen", "speed frozen"},
        {"r", "rewind"},
        {"children", "descendants"},
        {"recursive", "descendants"},
        {"force", "replace"},
        {"f", "replace"},
        {"overwrite", "replace"},
        {"check", "dry-run"},
        {"simulate", "dry-run"},
        {"n", "dry-run"},
        {"j", "json"},
        {"format", "json"},
        {"output", "json"},
        {"w", "watch"},
        {"follow", "watch"},
        {"f", "watch"},
        {"interval", "watch"},
        {"sync", "prune"},
        {"p", "prune"},
        {"u", "user"},
        {"uid", "user"},
        {"g", "group"},
        {"gid", "group"},
    };
    for (const Synonym &synonym : synonyms)
        if (strcmp(typed, synonym.typed) == 0 && is_known(synonym.meant, known)) {
            hint("did you mean --%s?", synonym.meant);
            return true;
        }
    for (const char *kind : {"user", "uid", "u", "group", "gid", "g", "process", "pid", "p"})
        if (strcmp(typed, kind) == 0) {
            hint("an identity is a word of its own: u:USER, g:GROUP or p:PID");
            return true;
        }
    return false;
}

int report_bad_option(char *const *argv, const option *known)
{
    const char *typed = argv[optind - 1];
    const bool is_long = strncmp(typed, "--", 2) == 0;
    if (print_option_error(typed, known) != nullptr)
        return bad_usage;
    if (!is_long && argv[optind] != nullptr && argv[optind][0] == '-' && argv[optind][1] == optopt)
        typed = argv[optind]; // getopt is still reading its letters
    char word[32];
    const char *plain = typed + (is_long ? 2 : 1);
    snprintf(word, sizeof word, "%.*s", static_cast<int>(strcspn(plain, "=")), plain);
    if (!is_long && is_known(word, known)) {
        hint("did you mean --%s?", word);
        return bad_usage;
    }
    if (!is_long) // single letters are not mistyped
        snprintf(word, sizeof word, "%c", optopt);
    Nearest nearest(word);
    for (const option *entry = known; is_long && entry->name != nullptr; ++entry)
        nearest.consider(entry->name);
    if (!hint_on_option(argv[0], word, known) && nearest.found() != nullptr)
        hint("did you mean --%s?", nearest.found());
    return bad_usage;
}

bool handle_help(int argc, char **argv, const char *help, int &status)
{
    static constexpr option known[] = {{"help", no_argument, nullptr, 'h'}, {}};
    const int choice = getopt_long(argc, argv, "h", known, nullptr);
    if (choice == -1)
        return false;
    if (choice == 'h')
        fputs(help, stdout);
    status = choice == 'h' ? done : report_bad_option(argv, known);
    return true;
}

} // namespace ovuser
