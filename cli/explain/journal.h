/*
 * What the library told of its changes in one run, as numbers: nodes, the lines that they were read from and written
 * to, and what was done to them by whom. Holds no text of a configuration: both files are at hand when an account is
 * made, and an upgrade has to fit into little memory, which is why the library's own journal (ledger/journal.h), which
 * keeps all texts for hosts, is not used. What it means for lines is told by account.h.
 */
#pragma once

#include "explain/authors.h"
#include "system/large_pages.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* Lines of a text, from 1. */
struct Span {
    uint32_t first = 0; /* 0: none */
    uint32_t last = 0;
    uint32_t end = 0; /* the closing line of a block, or 0 */

    bool operator==(const Span &) const = default;
};

inline constexpr uint32_t nowhere = UINT32_MAX;

struct JournalNode {
    uint32_t parent = 0;        /* a node, 0 for none; the last one that it was linked below */
    uint32_t source = 0;        /* the node that it was copied from, or 0 */
    uint32_t read = nowhere;    /* the text that it was read from */
    uint32_t written = nowhere; /* the text that it was written to first */
    Span     in, out;
    uint32_t last_event = nowhere;
};

enum class EventKind : uint8_t {
    made,
    copied,
    linked,
    unlinked,
    renamed,
    revalued,
    filled,
    marked,
    unmarked,
    left_out
};

struct Event {
    uint32_t  previous; /* of the same node, or nowhere */
    uint32_t  author;
    EventKind kind;
    uint32_t  file = nowhere; /* what a value was filled from */
};

struct JournalText {
    std::string file; /* its name in /data/config, or the path of another one */
    bool        is_configuration = false;
    uint32_t continues = nowhere; /* of one that was read: the written text that it is; nowhere: the file as it was */
    bool     is_written = false;  /* or read */
    uint32_t author = nowhere;    /* who reads or writes it */
    uint32_t begun = 0;           /* how many events there were ahead of that */
};

/* A node that stands below several is written as often. */
struct FurtherWriting {
    uint32_t node;
    uint32_t text;
    Span     out;
};

/* Something done to a file or folder beside the configuration. */
struct FileEffect {
    std::string what; /* "removed", "moved", "copied", "rewritten", "made" */
    std::string path;
    std::string before; /* where it was, or what it was copied from */
    uint32_t    author = nowhere;
};

struct Journal {
    std::vector<Author>         authors;
    LargeVector<JournalNode>    nodes; /* by number; the first is none */
    LargeVector<Event>          events;
    std::vector<JournalText>    texts;
    std::vector<std::string>    files; /* that values were filled from */
    std::vector<FurtherWriting> further;
    std::vector<FileEffect>     effects;
    bool                        is_incomplete = false; /* memory ran out */
};

/* In the library's child: runs `library` and takes down what it tells. Not to be called twice at a time. */
Journal take_down(void (*library)());

} // namespace command
