/*
 * Configurations of awkward shapes, at one size and at four times that: long lists of which every other node goes, or
 * the second half, or that are appended to, and rules that concern each other. Each is taken through adjust_tree, from
 * a release to the one that does it. How much longer the larger one may take stands in goals.py.
 */
#include "sandbox.h"
#include "steps.h"

#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "tree/config_text.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

/* `count` times the text, with the number, from 1, in place of each "#". */
std::string repeated(size_t count, const std::string &pattern)
{
    std::string text;
    for (size_t i = 1; i <= count; i++)
        for (char c : pattern)
            text += c == '#' ? std::to_string(i) : std::string(1, c);
    return text;
}

/* ---- One list ---- */

std::string sets_by_turns(size_t count)
{
    return "config waf signature\nedit 1\n" + repeated(count, "set kept-# on\nset scoring-scope x\n") + "next\nend\n";
}

std::string sets_kept_then_deleted(size_t count)
{
    return "config waf signature\nedit 1\n" + repeated(count, "set kept-# on\n") +
           repeated(count, "set scoring-scope x#\n") + "next\nend\n";
}

std::string sets_detached(size_t count)
{
    return "config waf site-publish-helper rule\nedit 1\n" + repeated(count, "set kept-# on\n") +
           repeated(count, "set ldap-server x#\n") + "next\nend\n";
}

std::string sets_moved(size_t count)
{
    return "config system settings\n" + repeated(count, "set kept-# on\nset core-file-count 1\n") + "end\n";
}

std::string sets_of_one_entry(size_t count)
{
    return "config server-policy server-pool\nedit p\nconfig pserver-list\nedit 1\nset ssl enable\n" +
           repeated(count, "set kept-# on\nset ssl-v3 enable\n") + "next\nend\nnext\nend\n";
}

std::string edits_deleted(size_t count)
{
    return "config server-policy pattern predefined-global-white-list-group\n" +
           repeated(count, "edit kept-#\nnext\nedit 100001\nnext\n") + "end\n";
}

std::string entries_deleted(size_t count)
{
    return "config waf file-upload-restriction-rule\nedit 1\nconfig file-types\n" +
           repeated(count, "edit #\nset file-type-id 1\nnext\nedit gone\nset file-type-id 00014\nnext\n") +
           "end\nnext\nend\n";
}

/* The first nested config goes at the end of its first entry, and is asked to go again at the end of each other. */
std::string entries_of_a_deleted_config(size_t count)
{
    return "config waf custom-protection-rule\nedit 1\nconfig meet-targets\n" +
           repeated(count, "edit #\nset target ARGS\nnext\n") + "end\n" + repeated(count, "config other-#\nend\n") +
           "next\nend\n";
}

std::string configs_deleted(size_t count)
{
    return repeated(count, "config kept #\nend\nconfig system ha\nset mode active-passive\nend\n");
}

/* Each set goes, and two come at the end. */
std::string appends(size_t count)
{
    return "config server-policy persistence-policy\nedit 1\n" +
           repeated(count, "set Persistence-type Insert-Cookie\n") + "next\nend\n";
}

/* ---- The names of what was removed ---- */

std::string removed_names(size_t count)
{
    return "config waf url-rewrite url-rewrite-rule\n" +
           repeated(count, "edit kept-#\nnext\nedit #\nset action redirect\nnext\n") +
           "end\nconfig waf url-rewrite url-rewrite-policy\nedit 1\nconfig rule\n" +
           repeated(count,
                    "edit #\nset url-rewrite-rule-name #\nnext\nedit kept\nset url-rewrite-rule-name no\nnext\n") +
           "end\nnext\nend\n";
}

/* ---- Rules ---- */

/* None that the rules name: what is measured is what rules do to rules. */
std::string one_config(size_t)
{
    return "config other\nend\n";
}

std::string renames_of_one_path(size_t count)
{
    return "[5.41]\n[MODIFY]\n" + repeated(count, "<a b>,<c #>\n");
}

std::string renames_around_rules(size_t count)
{
    return "[5.41]\n[MODIFY]\n" + repeated(count, "<a b>,<x #>\n<a b><c#><d>,<e>\n");
}

struct Shape {
    const char *name;
    int32_t     from;
    int32_t     to;
    std::string (*text)(size_t count);
    std::string (*sections)(size_t count); /* the update file; null for none */
    size_t count;
};

std::string section_of_410(size_t)
{
    return "[4.10]\n";
}

constexpr Shape shapes[] = {
    {"SetsKeptAndDeletedByTurns", 0x5004f, 0x50050, sets_by_turns, nullptr, 150000},
    {"SetsKeptThenDeleted", 0x5004f, 0x50050, sets_kept_then_deleted, nullptr, 150000},
    {"SetsDetached", 0x50034, 0x5003c, sets_detached, nullptr, 150000},
    {"SetsMoved", 0x50053, 0x50055, sets_moved, nullptr, 150000},
    {"SetsOfOneEntry", 0x50050, 0x50053, sets_of_one_entry, nullptr, 150000},
    {"EditsDeleted", 0x60002, 0x6000a, edits_deleted, nullptr, 150000},
    {"EntriesDeleted", 0x60002, 0x6000a, entries_deleted, nullptr, 150000},
    {"EntriesOfADeletedConfig", 0x50028, 0x50032, entries_of_a_deleted_config, nullptr, 150000},
    {"ConfigsDeleted", 0x6000b, 0x60014, configs_deleted, nullptr, 150000},
    {"Appends", 0x50028, 0x50032, appends, nullptr, 150000},
    {"RemovedNames", 0x40009, 0x4000a, removed_names, section_of_410, 50000},
    {"RenamesOfOnePath", 0x50028, 0x50029, one_config, renames_of_one_path, 20000},
    {"RenamesAroundRules", 0x50028, 0x50029, one_config, renames_around_rules, 20000},
};

void write_file(const char *path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

void parse(const Shape &shape)
{
    memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
    migr_main.mode = MIGR_DOMAIN;
    migr_main.cfg_version = shape.from;
    migr_main.img_version = shape.to;
    bench::need(setup_tree(&migr_main, bench::plain_file) == 0, "setup_tree");
}

void run(benchmark::State &state, const Shape *shape)
{
    auto count = static_cast<size_t>(state.range(0));
    bench::lay_out("#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n" + shape->text(count));
    write_file("/data/etc/update_config", shape->sections ? shape->sections(count) : "");
    for (auto _ : state) {
        state.PauseTiming();
        parse(*shape);
        state.ResumeTiming();
        bench::need(adjust_tree() == 0, "adjust_tree");
        state.PauseTiming();
        bench::release();
        state.ResumeTiming();
    }
}

constexpr size_t growth = 4;

void register_shapes()
{
    for (const Shape &shape : shapes)
        for (size_t count : {shape.count, shape.count * growth})
            benchmark::RegisterBenchmark(shape.name, run, &shape)
                ->Arg(static_cast<int64_t>(count))
                ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::CPUInfo::Get(); /* reads /proc, which the sandbox does not have */
    register_shapes();
    bench::enter_sandbox();
    benchmark::RunSpecifiedBenchmarks();
    bench::leave_sandbox();
    benchmark::Shutdown();
}
