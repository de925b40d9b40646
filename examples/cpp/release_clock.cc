// Takes a user's virtual clock away, and lists those that are left; each step as a request, with its message.
#include <ov_helper.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

static int carry_out(const ov_request &request, bool show_report)
{
    char *text = nullptr;
    const int32_t result = ov_process_request(&request, &text);
    const std::unique_ptr<char, decltype(&std::free)> message(text, std::free);
    if (message != nullptr && (result != OV_OK || show_report))
        std::fputs(message.get(), result == OV_OK ? stdout : stderr);
    return check_rc(result);
}

int main(int argc, char **argv)
{
    ov_request release = {};
    release.operation = OV_DELETE;
    release.id_count = argc - 1; // without a name, the caller's own
    for (int i = 0; i < release.id_count && i < OV_MAX_IDENTITIES; ++i) {
        release.id_kind[i] = OV_USER;
        release.id_text[i] = argv[i + 1];
    }
    if (const int failure = carry_out(release, false))
        return failure;

    ov_request list = {};
    list.operation = OV_LIST;
    return carry_out(list, true);
}
