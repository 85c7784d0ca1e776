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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view text(reinterpret_cast<const char *>(data), size);
    fuzzing::begin();
    fuzzing::plant(text);
    check_copy();
    std::string written = fuzzing::written(&migr_main.root);
    release_pass_nodes();
    /* What was written is input again. */
    fuzzing::begin();
    fuzzing::plant(written);
    fuzzing::written(&migr_main.root);
    release_pass_nodes();
    return 0;
}
