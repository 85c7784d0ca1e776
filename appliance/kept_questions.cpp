/*
 * Only what is plain to read is taken apart: one text between two quotes, or none, and around it no other quote, no
 * comment and no parameter. Everything else is left to SQLite.
 */
#include "kept_questions.h"

#include "image_database.h"

#include <cctype>
#include <cstring>

namespace appliance {

namespace {

/* A question with its text taken out, which is null where it had none. */
struct Taken {
    char        question[KeptQuestions::longest];
    const char *text;
    int         length;
};

bool is_plain(const char *begin, const char *end)
{
    for (; begin < end; begin++)
        if (!isalnum(static_cast<unsigned char>(*begin)) && !strchr("_ =<>!()*,.;", *begin))
            return false;
    return true;
}

bool take_whole(const char *sql, Taken *taken)
{
    size_t length = strlen(sql);
    if (length >= sizeof taken->question || !is_plain(sql, sql + length))
        return false;
    memcpy(taken->question, sql, length + 1);
    taken->text = nullptr;
    return true;
}

bool take_text(const char *sql, Taken *taken)
{
    const char *open = strchr(sql, '\'');
    const char *close = open ? strchr(open + 1, '\'') : nullptr;
    if (!close)
        return take_whole(sql, taken);
    auto   before = static_cast<size_t>(open - sql);
    size_t after = strlen(close + 1);
    if (before + 1 + after >= sizeof taken->question || !is_plain(sql, open) || !is_plain(close + 1, close + 1 + after))
        return false;
    memcpy(taken->question, sql, before);
    taken->question[before] = '?';
    memcpy(taken->question + before + 1, close + 1, after + 1);
    taken->text = open + 1;
    taken->length = static_cast<int>(close - open - 1);
    return true;
}

sqlite3_stmt *find(const KeptQuestions *questions, const char *text)
{
    for (const KeptQuestions::Question &question : questions->kept)
        if (question.statement && strcmp(question.text, text) == 0)
            return question.statement;
    return nullptr;
}

sqlite3_stmt *keep(KeptQuestions *questions, sqlite3 *connection, const char *text)
{
    Statement statement = prepare(connection, text);
    if (!statement)
        return nullptr;
    KeptQuestions::Question &oldest = questions->kept[questions->next];
    questions->next = (questions->next + 1) % KeptQuestions::most;
    sqlite3_finalize(oldest.statement);
    oldest.statement = statement.release();
    memcpy(oldest.text, text, strlen(text) + 1);
    return oldest.statement;
}

} // namespace

sqlite3_stmt *kept_question(KeptQuestions *questions, sqlite3 *connection, const char *sql)
{
    Taken taken;
    if (!sql || !take_text(sql, &taken))
        return nullptr;
    sqlite3_stmt *statement = find(questions, taken.question);
    if (!statement)
        statement = keep(questions, connection, taken.question);
    if (!statement || !taken.text)
        return statement;
    bool is_bound = sqlite3_bind_text(statement, 1, taken.text, taken.length, SQLITE_TRANSIENT) == SQLITE_OK;
    return is_bound ? statement : nullptr;
}

void drop_questions(KeptQuestions *questions)
{
    for (KeptQuestions::Question &question : questions->kept)
        sqlite3_finalize(question.statement);
    *questions = {};
}

} // namespace appliance
