#include "ovuser/command.h"

#include <getopt.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/text.h"

namespace ovuser
{

// The engine leaves these to its front end.
static constexpr struct {
    int32_t code;
    const char *text;
} explanations[] = {
    {OV_BAD_OPERATION, "unknown operation"},
    {OV_NO_IDENTITY_TEXT, "an identity is missing"},
    {OV_TOO_MANY_IDENTITIES, "too many identities, a request takes at most 10"},
    {OV_BAD_KIND, "an identity is neither a user, a group nor a process"},
};

int misunderstood(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0)
        text = nullptr;
    va_end(arguments);
    fputs("ovuser: error: ", stderr);
    print_visible(stderr, text != nullptr ? text : format);
    fputc('\n', stderr);
    free(text);
    return not_understood;
}

void read_identities(int argc, char **argv, ov_request &request)
{
    static constexpr struct {
        char letter;
        ov_kind kind;
    } prefixes[] = {{'u', OV_USER}, {'g', OV_GROUP}, {'p', OV_PROCESS}};
    request.id_count = argc;
    for (int i = 0; i < argc && i < OV_MAX_IDENTITIES; ++i) {
        request.id_kind[i] = OV_USER;
        request.id_text[i] = argv[i];
        for (const auto &prefix : prefixes) {
            if (argv[i][0] == prefix.letter && argv[i][1] == ':') {
                request.id_kind[i] = prefix.kind;
                request.id_text[i] = argv[i] + 2;
            }
        }
    }
}

int perform_on_identities(ov_operation operation, const char *help, int argc, char **argv)
{
    static constexpr option options[] = {{"help", no_argument, nullptr, 'h'}, {}};
    const int choice = getopt_long(argc, argv, "h", options, nullptr);
    if (choice == 'h') {
        fputs(help, stdout);
        return done;
    }
    if (choice != -1)
        return not_understood;
    ov_request request = {};
    request.operation = operation;
    read_identities(argc - optind, argv + optind, request);
    if (operation == OV_RESET && request.id_count != 0) // whoever names somebody does not mean everybody
        return misunderstood("reset takes no identities");
    return perform(request);
}

int perform(const ov_request &request)
{
    char *message = nullptr;
    const int32_t result = ov_process_request(&request, &message);
    return conclude(result, message);
}

// A message of the engine's. Its line ends are its own, but for those in an identity that it quotes: there only the
// last is.
static void print_message(FILE *stream, int32_t result, char *message)
{
    for (char *line = message; *line != '\0';) {
        char *end = result == OV_UNKNOWN_IDENTITY ? strrchr(line, '\n') : line + strcspn(line, "\n");
        const bool whole = *end != '\0';
        *end = '\0';
        print_visible(stream, line);
        if (whole)
            fputc('\n', stream);
        line = end + (whole ? 1 : 0);
    }
}

int conclude(int32_t result, char *message)
{
    if (message != nullptr) {
        print_message(result == OV_OK ? stdout : stderr, result, message);
        free(message);
        return check_rc(result);
    }
    if (result == OV_OK)
        return done;
    for (const auto &explanation : explanations) {
        if (explanation.code == result) {
            fprintf(stderr, "ovuser: error: %s\n", explanation.text);
            return check_rc(result);
        }
    }
    fprintf(stderr, "ovuser: error: the request was not carried out, result = %d\n", result);
    return check_rc(result);
}

} // namespace ovuser
