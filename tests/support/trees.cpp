/* Texts become trees and trees texts by the library's own parser and writer: what those get wrong is not seen here,
 * but in their own tests. */
#include "support/trees.h"

#include "support/files.h"
#include "tree/config_text.h"
#include "tree/node_store.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace support {

TextFile::TextFile(std::string_view content)
{
    path_ = (std::filesystem::temp_directory_path() / "migr-text-XXXXXX").string();
    int fd = mkstemp(path_.data());
    if (fd < 0)
        throw std::runtime_error("no temporary file");
    close(fd);
    std::ofstream(path_, std::ios::binary) << content;
}

TextFile::~TextFile()
{
    unlink(path_.c_str());
}

std::string TextFile::read() const
{
    return file_text(path_);
}

int32_t parse(std::string_view text)
{
    TextFile file("#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n" + std::string(text));
    return setup_tree(&migr_main, file.path());
}

static void dump_list(const config_node *list, const char *word, uint32_t kind, size_t depth, std::string *out)
{
    for (const config_node *node = list; node; node = node->next) {
        *out += std::string(2 * depth, ' ') + word + " " + node->name;
        if (node->value)
            *out += std::string("=") + node->value;
        if (node->kind != kind)
            *out += " kind " + std::to_string(node->kind);
        if (node->deleted)
            *out += " deleted";
        if (node->hidden)
            *out += " hidden";
        *out += "\n";
        dump_list(node->top_list, "top", MIGR_TOP, depth + 1, out);
        dump_list(node->config_list, "config", MIGR_CONFIG, depth + 1, out);
        dump_list(node->edit_list, "edit", MIGR_EDIT, depth + 1, out);
        dump_list(node->set_list, "set", MIGR_SET, depth + 1, out);
    }
}

std::string dump(const config_node &node)
{
    std::string out;
    dump_list(node.top_list, "top", MIGR_TOP, 0, &out);
    dump_list(node.config_list, "config", MIGR_CONFIG, 0, &out);
    dump_list(node.edit_list, "edit", MIGR_EDIT, 0, &out);
    dump_list(node.set_list, "set", MIGR_SET, 0, &out);
    return out;
}

std::string written(config_node *node, int32_t depth)
{
    char  *text = nullptr;
    size_t size = 0;
    FILE  *stream = open_memstream(&text, &size);
    write_node(node, depth, stream);
    fclose(stream);
    std::string copy(text, size);
    free(text);
    return copy;
}

config_node *named(config_node *list, std::string_view name)
{
    while (list && list->name != name)
        list = list->next;
    return list;
}

size_t length_of(const config_node *list)
{
    size_t length = 0;
    for (; list; list = list->next)
        length++;
    return length;
}

std::string times(size_t count, std::string_view text)
{
    std::string all;
    all.reserve(count * text.size());
    for (size_t i = 0; i < count; i++)
        all += text;
    return all;
}

void TreeTest::SetUp()
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.root.kind = MIGR_ROOT;
}

void TreeTest::TearDown()
{
    hold_deleted_nodes(0);
    release_pass_nodes();
    release_run_nodes();
    migr_main.root = {};
}

} // namespace support
