/*
 * What became of each line of a configuration, and where each line of the result came from, with the causes. Made of
 * what the library told (journal.h) and of the texts before and behind; nothing is asked of the library again.
 */
#pragma once

#include "explain/journal.h"

#include <string>
#include <vector>

namespace command {

enum class LineFate { kept, moved, rewritten, dropped, added };

/* "kept" and so on. */
const char *word(LineFate fate);

/* Who had set a value. */
enum class Hand { unknown, firmware, person };

/* Deeper than any real configuration goes. Of a text that only nests, all paths would be as long as the text squared.
 */
inline constexpr size_t most_names = 32;

/* One block's opening line, or one set with all its lines. */
struct AccountEntry {
    LineFate    fate = LineFate::kept;
    Span        in, out;
    std::string out_file; /* the result that holds it, when that is another file */
    /* Names from the top-level config down; of what was added, in the result; of a line that lies deeper than
     * most_names the first one and as many of the last. */
    std::vector<std::string> path;
    std::vector<uint32_t>    causes; /* authors, in their order; none for what is kept */
    std::string              before; /* the lines, without the first one's indent; of what is kept, nothing */
    std::string              after;
    Span                     copied_from;          /* the lines of the old file that an added entry was copied from */
    std::string              from_file;            /* the file that the value, or a part of it, was read from */
    std::string              reason;               /* what the signature database has against an entry, or for it */
    Hand                     hand = Hand::unknown; /* of a value that was dropped or rewritten */
};

struct LineCounts {
    uint64_t lines = 0, kept = 0, moved = 0, rewritten = 0, dropped = 0, added = 0, layout = 0, unread = 0;
};

struct AccountFile {
    std::string               file;        /* its name in /data/config */
    int32_t                   before = -1; /* release; -1 for a file that the split has made */
    int32_t                   after = -1;
    LineCounts                in, out;
    uint64_t                  unexplained = 0; /* lines of entries that should have a cause and have none */
    std::vector<AccountEntry> entries;         /* those that are kept only when that was asked for */
};

struct Account {
    std::vector<Author>      authors;
    std::vector<AccountFile> files;
    std::vector<FileEffect>  effects;
    bool                     is_incomplete = false;
};

/* Puts the files and effects of one behind those of another. */
void append(Account &account, Account further);

/* A file that an upgrade has carried forward, or made. */
struct AccountedText {
    std::string file;
    int32_t     before = -1;
    int32_t     after = -1;
    std::string old_text; /* empty for one that the split has made */
    std::string new_text;
};

/* Takes the files in their order. With `all`, entries that are kept are there too. */
Account account_of(Journal journal, const std::vector<AccountedText> &files, bool all);

} // namespace command
