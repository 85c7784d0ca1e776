/* What the fuzzers share: texts in memory in the place of files, and a clean context for each input. */
#pragma once

#include "driver/run_context.h"
#include "ledger/second_book.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/text_reader.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace fuzzing {

/* A reader over a text in memory. */
inline text_reader reader_of(std::string_view text)
{
    text_reader reader = {static_cast<char *>(malloc(text.size() + 1)), text.size(), 0, 0, 0, 0};
    memcpy(reader.text, text.data(), text.size());
    return reader;
}

inline void tell(const char *difference)
{
    fprintf(stderr, "%s\n", difference);
}

/* The tree of migr_main is what all told changes together make of it. */
inline void check_book()
{
    if (migr_identity_of(&migr_main.root) != 0 && migr_book_check(&migr_main.root, tell) != 0)
        abort();
}

inline void begin()
{
    migr_book_open();
    migr_observe_changes(migr_book_note);
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.root.kind = MIGR_ROOT;
}

/* Parses a configuration into the tree of migr_main, as far as it can be parsed. */
inline int32_t plant(std::string_view text)
{
    text_reader reader = reader_of(text);
    int32_t     result = parse_text(&reader, &migr_main.root);
    close_text(&reader);
    check_book();
    return result;
}

inline std::string written(config_node *root)
{
    char  *text = nullptr;
    size_t size = 0;
    FILE  *stream = open_memstream(&text, &size);
    write_node(root, 0, stream);
    fclose(stream);
    std::string copy(text, size);
    free(text);
    return copy;
}

} // namespace fuzzing
