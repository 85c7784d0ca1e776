/* Passes over configuration texts, several in one process if need be. */
#pragma once

#include "support/appliance_root.h"
#include "support/trees.h"

#include <functional>
#include <string>
#include <string_view>

struct PassFile {
    uint32_t    mode = 1; /* a domain file */
    int32_t     release = 0x50032;
    std::string domain = "root";
};

/* Parses `before` as such a file, lets `migrate` change the tree, and gives what the writer makes of it. */
std::string after_pass(std::string_view before, const std::function<void()> &migrate, const PassFile &file = {});

/* The same for one callback in all its rounds, one stage, the whole walk to the image. */
std::string after_row(std::string_view before, const std::string &callback, const PassFile &file = {});
std::string after_stage(std::string_view before, int32_t version, const PassFile &file = {});
std::string after_walk(std::string_view before, const PassFile &file = {});

/* One callback in all its rounds, on the tree of migr_main. */
void run_row(const std::string &callback);

/* Runs expectations with an empty appliance as "/": callbacks reach for folders of the machine. */
void in_empty_root(const std::function<void()> &work);
