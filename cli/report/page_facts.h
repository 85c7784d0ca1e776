/*
 * What a page says, found out from a ledger (upgrade_ledger.h): counted, sorted and put into sentences. How it looks is
 * told by page.tpl.
 */
#pragma once

#include "report/page_rows.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace command {

/* Lines of the old file, or of the result for what was added. */
struct FateCounts {
    uint64_t dropped = 0, rewritten = 0, added = 0, moved = 0;

    uint64_t all() const
    {
        return dropped + rewritten + added + moved;
    }
};

/* Lines of a file that can be looked up on the page. */
struct PagePlace {
    std::string file;           /* its short name */
    bool        is_old = false; /* they are lines of the old file, and gone */
    uint32_t    first = 0, last = 0;

    /* Of the row where they begin: "1204", "was-87". */
    std::string anchor() const
    {
        return (is_old ? "was-" : "") + std::to_string(first);
    }
};

struct PageCause {
    uint32_t               number = 0; /* on the page */
    std::string            release, mechanism, name, kind, sentence;
    FateCounts             counts;
    uint64_t               by_hand = 0; /* lines that a person had set and that were dropped */
    std::vector<PagePlace> places;      /* of its changes, file by file */
    std::vector<PagePlace> places_by_hand;
};

struct PageFile {
    std::string                     file, short_name, before, after, result;
    std::vector<std::string>        reasons, warnings;
    std::map<std::string, uint64_t> in, out; /* lines by fate */
    uint64_t                        unexplained = 0;
    bool                            has_text = false;
    PageText                        text;
};

struct PageRelease {
    std::string release;
    FateCounts  counts;
};

/* Something that somebody should look at. */
struct PageFinding {
    std::string            text;
    std::vector<uint32_t>  causes; /* that it is about */
    std::vector<PagePlace> places;
};

/* A line of a signature list, and what the signature database has against it or for it. */
struct PageSignature {
    PagePlace   place;
    std::string list, name, reason;
    bool        is_added = false;
};

struct PageEffect {
    std::string what, path, before;
    uint32_t    cause = 0;
};

struct PageImageFile {
    std::string file, sha256;
    uint64_t    size = 0;
};

struct PageFacts {
    std::string                subject, name, made, snapshot, from, to, verdict, summary, image;
    bool                       is_bad = false; /* some file was not upgraded */
    std::vector<PageImageFile> image_files;
    std::vector<PageFile>      files;
    std::vector<PageFinding>   findings;
    std::vector<PageRelease>   releases;
    std::vector<PageCause>     causes; /* what somebody has to answer for comes first */
    std::vector<PageEffect>    effects;
    std::vector<PageSignature> signatures;
};

/* Throws Failure for a text that is no ledger. */
PageFacts page_facts(const std::string &ledger_json);

} // namespace command
