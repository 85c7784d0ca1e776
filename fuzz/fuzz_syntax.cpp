/* The syntax file of the split: any text may be one, and every configuration goes to one file at most. */
#include "fuzz/fuzzing.h"
#include "tree/split.h"

#include <sys/mman.h>
#include <unistd.h>

static constexpr char small_tree[] = R"(config system global
    set hostname "x"
end
config waf signature
    edit "a"
    next
end
config "a b"
end
config a,b
end
config a
end
config
end
)";

/* A path at which the text can be opened. */
static std::string path_of(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

static void check_names()
{
    for (const path_node_array *array : {&global_node, &domain_node}) {
        if (array->count < 0 || array->count > MIGR_PATH_NAMES)
            abort();
        for (int32_t i = 0; i < array->count; i += 100)
            if (!is_path_node(array->names[i], array))
                abort();
    }
}

static size_t named_configs()
{
    size_t count = 0;
    for (const config_node *config = migr_main.root.top_list; config; config = config->next)
        count += is_path_node(config->name, &global_node) || is_path_node(config->name, &domain_node);
    return count;
}

static size_t written_configs(const char *text)
{
    size_t count = 0;
    for (; text; text = strchr(text, '\n'), text = text ? text + 1 : nullptr)
        count += strncmp(text, "config ", 7) == 0;
    return count;
}

static void split_tree()
{
    char  *texts[2] = {};
    size_t sizes[2] = {};
    FILE  *global_stream = open_memstream(&texts[0], &sizes[0]);
    FILE  *domain_stream = open_memstream(&texts[1], &sizes[1]);
    fuzzing::begin();
    fuzzing::plant(small_tree);
    size_t expected = named_configs();
    vdom_write_node(&migr_main.root, global_stream, domain_stream);
    fclose(global_stream);
    fclose(domain_stream);
    if (written_configs(texts[0]) + written_configs(texts[1]) != expected)
        abort();
    free(texts[0]);
    free(texts[1]);
    release_pass_nodes();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int fd = memfd_create("syntax", MFD_CLOEXEC);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size))
        abort();
    init_path_node(&global_node);
    init_path_node(&domain_node);
    if (load_syntax_to_path_node_array(path_of(fd).c_str()) != 0)
        abort();
    close(fd);
    check_names();
    split_tree();
    release_path_node(&global_node);
    release_path_node(&domain_node);
    return 0;
}
