/* Configuration trees in tests: made from text, shown as text. */
#pragma once

#include "driver/run_context.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace support {

/* A plain file in the machine's temporary folder, for as long as the object lives. */
class TextFile {
  public:
    explicit TextFile(std::string_view content = {});
    ~TextFile();
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;

    const char *path() const
    {
        return path_.c_str();
    }
    std::string read() const;

  private:
    std::string path_;
};

/* Parses `text`, ahead of which goes a version line, into the tree of migr_main. What setup_tree gives. */
int32_t parse(std::string_view text);

/*
 * What hangs below a node, one line each, two blanks a level: word, name, "=value" unless the value is null, and the
 * output flags. Lists come in the order top, config, edit, set. The word tells the list; a node whose own kind is
 * another has that kind behind it.
 */
std::string dump(const config_node &node);

/* What write_node gives for a node. */
std::string written(config_node *node, int32_t depth = 0);

/* The first child of that name in a list, or null. */
config_node *named(config_node *list, std::string_view name);

size_t length_of(const config_node *list);

/* `count` times `text`. */
std::string times(size_t count, std::string_view text);

/* Starts each test with an empty context and frees what it has made. */
class TreeTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace support
