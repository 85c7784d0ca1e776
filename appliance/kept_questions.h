/*
 * Questions that are asked again and again, at most with another text in quotes: SQLite reads each of them once. What
 * the answers mean is the caller's business.
 */
#pragma once

#include <sqlite3.h>

namespace appliance {

/* Those of one connection. They go ahead of it. */
struct KeptQuestions {
    static constexpr int most = 8; /* the next one takes the oldest one's place */
    static constexpr int longest = 256;

    struct Question {
        char          text[longest]; /* with "?" in the place of what was in quotes */
        sqlite3_stmt *statement;
    };
    Question kept[most];
    int      next;
};

/* The statement of that text, ready to run and to be reset by whoever has run it; it stays theirs who keep it. Null for
 * what is not of this sort, or cannot be asked. */
sqlite3_stmt *kept_question(KeptQuestions *questions, sqlite3 *connection, const char *sql);

void drop_questions(KeptQuestions *questions);

} // namespace appliance
