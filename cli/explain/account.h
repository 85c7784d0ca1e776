/*
 * What became of each line of a configuration, and where each line of the result came from, with the causes. Made of
 * what the library told (journal.h) and of the texts before and behind; nothing is asked of the library again.
 */
#pragma once

#include "explain/journal.h"
#include "explain/lined_text.h"

#include <string>
#include <vector>

namespace command {

enum class LineFate { kept, moved, rewritten, dropped, added };

/* Dropped or rewritten. */
bool is_lost(LineFate fate);

/* "kept" and so on. */
const char *word(LineFate fate);

/* Who had set a value. */
enum class Hand { unknown, firmware, person };

/* One block's opening line, or one set with all its lines. */
struct AccountEntry {
    LineFate    fate = LineFate::kept;
    Span        in, out;
    std::string out_file; /* the result that holds it, when that is another file */
    /* Names from the top-level config down (LinedText::path); of what was added, in the result. */
    std::vector<std::string> path;
    std::vector<uint32_t>    causes; /* authors, in their order; none for what is kept */
    std::string              before; /* the lines, without the first one's indent; of what is kept, nothing */
    std::string              after;
    Span                     copied_from;          /* the lines of the old file that an added entry was copied from */
    std::string              from_file;            /* the file that the value, or a part of it, was read from */
    std::string              reason;               /* what the signature database has against an entry, or for it */
    Hand                     hand = Hand::unknown; /* of a value that was dropped or rewritten */
};

/* Lines that were dropped or rewritten for the same reasons. */
struct Loss {
    LineFate              fate = LineFate::dropped;
    Hand                  hand = Hand::unknown;
    std::vector<uint32_t> causes;
    uint64_t              lines = 0;
};

std::vector<Loss> losses_of(const std::vector<AccountEntry> &entries);

struct AccountFile {
    std::string               file;        /* its name in /data/config */
    int32_t                   before = -1; /* release; -1 for a file that the split has made */
    int32_t                   after = -1;
    LineCounts                in, out;
    uint64_t                  unexplained = 0; /* lines of entries that should have a cause and have none */
    std::vector<AccountEntry> entries;         /* as many as were asked for */
    std::vector<Loss>         losses;          /* of all entries, when these have got their remarks */
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

/* Which lines have entries. */
enum class Detail {
    losses,  /* those that were dropped or rewritten */
    changes, /* all but those that were kept */
    lines,   /* all */
};

/* Takes the files in their order. */
Account account_of(Journal journal, const std::vector<AccountedText> &files, Detail detail);

} // namespace command
