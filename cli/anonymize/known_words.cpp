/* Words are gathered from wherever the image says what it knows; its comments and its pages say more than that, so they
 * are left out. */
#include "anonymize/known_words.h"

#include "anonymize/language_words.h"
#include "anonymize/word_scan.h"
#include "image/database.h"
#include "image/expected_names.h"

#include <algorithm>
#include <functional>

namespace command {

namespace {

void add_without_comments(KnownWords &words, std::string_view text)
{
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (!line.starts_with('#'))
            words.add(line);
    }
}

void for_each_text(const Connection &database, const char *sql, const std::function<void(std::string_view)> &take)
{
    Statement rows = prepare(database, sql);
    while (rows && sqlite3_step(rows.get()) == SQLITE_ROW)
        if (const unsigned char *text = sqlite3_column_text(rows.get(), 0))
            take(reinterpret_cast<const char *>(text));
}

std::string words_alone(std::string_view text)
{
    std::string words;
    for (size_t at = 0; at < text.size();) {
        std::string_view word = word_at(text, at);
        at += std::max<size_t>(word.size(), 1);
        if (!word.empty())
            words.append(word).append(" ");
    }
    return words;
}

} // namespace

KnownWords::KnownWords()
{
    add(language_words);
    for (std::string_view text : expected_texts)
        add(text);
}

KnownWords::KnownWords(const Image &image) : KnownWords()
{
    for (const char *name : {"update_config", "syntax_v510.txt", "system.conf.predefine"})
        add_without_comments(*this, image_text(image, name));
    std::string bytes = image_text(image, "signature.db");
    Connection  database = open_bytes(bytes);
    if (!database)
        return;
    for (const char *sql : {"SELECT name FROM global_white_list", "SELECT name FROM replacement_page"})
        for_each_text(database, sql, [this](std::string_view name) { add(name); });
    for_each_text(database, "SELECT text FROM replacement_page", [this](std::string_view text) { add_page(text); });
}

bool KnownWords::has_page(std::string_view text) const
{
    return !pages_.empty() && pages_.contains(words_alone(text));
}

void KnownWords::add_page(std::string_view text)
{
    pages_.insert(words_alone(text));
}

bool KnownWords::has(std::string_view word) const
{
    return words_.contains(small_letters(word));
}

void KnownWords::add(std::string_view text)
{
    for (size_t at = 0; at < text.size();) {
        std::string_view word = word_at(text, at);
        at += std::max<size_t>(word.size(), 1);
        if (word.empty())
            continue;
        words_.insert(small_letters(word));
        words_.insert(small_letters(word.substr(0, word.find_first_of("0123456789"))));
    }
    words_.erase("");
}

} // namespace command
