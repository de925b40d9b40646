// Shared by the tests of the engine: requests in words, and a script of the C library.
#pragma once

#include <gtest/gtest.h>

#include <list>
#include <sstream>
#include <string>

#include "tests/naive_time.h"
#include "tests/scripted_libc.h"

inline constexpr int64_t nine = 1924419600; // 2030-12-25 09:00 UTC
inline const ov_request usual = {.speed = 1, .time_form = 1, .virtime = nine};

// A request for identities in words: "u:alice g:staff". A kind of ? is unknown; an empty text is null.
inline ov_request make_request(int operation, const std::string &identities = "", ov_request request = usual)
{
    static std::list<std::string> texts; // for as long as any request
    request.operation = operation;
    std::istringstream words(identities);
    for (std::string word; words >> word; ++request.id_count) {
        const char *text = texts.emplace_back(word.substr(2)).c_str();
        request.id_kind[request.id_count] = static_cast<int>(std::string(" ugp").find(word[0]));
        request.id_text[request.id_count] = *text != '\0' ? text : nullptr;
    }
    return request;
}

class Engine : public testing::Test
{
  protected:
    Engine() { set_zone("UTC"); }

    template <typename What> Outcome run(const What &what, const std::string &pending = "", bool with_slot = true)
    {
        const Outcome outcome = script.run(what, pending, with_slot);
        EXPECT_TRUE(outcome.good) << outcome.message;
        return outcome;
    }
    static std::string said(const std::string &text) { return text.empty() ? "" : "ovuser: " + text + "\n"; }

    Script script;
};

inline const std::string christmas = "Wed Dec 25 09:00:00 2030";
inline const std::string running = " has been added with a Running virtual clock: " + christmas;
inline const std::string not_for_others = "error: Non-root user can not modify OV setting for others.";
inline const std::string no_zero = "error: uid '0' (root user) or gid '0' (root group) is not allowed";
inline const std::string all_listed = "All Orvane users have been listed above.";
