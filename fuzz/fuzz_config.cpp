/* The parser and the writer: any text may be a configuration, and a copy of its tree is written like the tree itself.
 */
#include "fuzz/fuzzing.h"

static void check_copy()
{
    config_node *copy = new_node(MIGR_ROOT);
    if (copy_node(&migr_main.root, copy) != 0 || fuzzing::written(copy) != fuzzing::written(&migr_main.root))
        abort();
    fuzzing::check_book();
}

/* A host's own stream is read as the text in memory is. */
static void check_stream(std::string_view text)
{
    config_node *read = new_node(MIGR_ROOT);
    FILE        *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    if (!stream)
        return; /* an empty text */
    parse_config(stream, read);
    fclose(stream);
    if (fuzzing::written(read) != fuzzing::written(&migr_main.root))
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view text(reinterpret_cast<const char *>(data), size);
    fuzzing::begin();
    fuzzing::plant(text);
    check_copy();
    check_stream(text);
    std::string written = fuzzing::written(&migr_main.root);
    release_pass_nodes();
    /* What was written is input again. */
    fuzzing::begin();
    fuzzing::plant(written);
    fuzzing::written(&migr_main.root);
    release_pass_nodes();
    return 0;
}
