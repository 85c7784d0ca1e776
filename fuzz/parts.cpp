/* The words are those of the data-driven tests. What is not known is taken for "adjust": no input is wasted. */
#include "fuzz/parts.h"

#include "chain/hardcode.h"
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "fuzz/fuzzing.h"
#include "fuzz/held_world.h"
#include "fuzz/root_folder.h"
#include "fuzz/tree_text.h"
#include "image/expected_names.h"
#include "rules/rules.h"
#include "rules/update_file.h"
#include "signature/reconcile.h"
#include "support/failing_memory.h"
#include "tree/changes.h"
#include "walk/walk.h"

#include <unistd.h>

namespace fuzzing {

namespace {

/* What the first line asks for. */
struct Part {
    enum class Kind { stage, walk, step, rules, reconcile, parse, adjust };
    Kind        kind = Kind::adjust;
    stage_table stage = {};
    int32_t     release = 0;
};

/* The work on a tree must not own memory, so what it needs lies here. */
Part    part;
int32_t part_result;

/* ---- what is asked for ---- */

bool find_stage(int32_t release, int32_t type)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        if ((*stage)->version == release && (*stage)->type == type) {
            part.stage = **stage;
            return true;
        }
    return false;
}

bool find_row(const std::string &callback)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t at = 0; at < (*stage)->row_count; at++)
            if (callback == (*stage)->rows[at].name) {
                part.stage = {(*stage)->version, (*stage)->type, (*stage)->rows + at, 1};
                return true;
            }
    return false;
}

/* The step in which a migration runs; the whole step runs instead. */
int32_t release_of_migration(const std::string &name)
{
    for (const command::ExpectedNames &code : command::expected_names)
        if (code.in_chain && code.code == name)
            return code.release;
    return MIGR_RELEASE(4, 30);
}

void understand(const Document &document)
{
    using Kind = Part::Kind;
    const std::string &what = document.run[0];
    std::string        which = document.run.size() > 1 ? document.run[1] : "";
    bool               is_ml = !document.passes.empty() && document.passes[0].mode == MIGR_MACHINE_LEARNING;
    part = {};
    part.release = release_of(which);
    if (what == "stage" && find_stage(part.release, is_ml ? STAGE_ML : STAGE_ADOM))
        part.kind = Kind::stage;
    else if (what == "row" && find_row(which))
        part.kind = Kind::stage;
    else if (what == "migration")
        part.kind = Kind::step, part.release = release_of_migration(which);
    else if (what == "step")
        part.kind = Kind::step;
    else if (what == "walk" || what == "rules" || what == "reconcile" || what == "parse")
        part.kind = what == "walk"    ? Kind::walk
                    : what == "rules" ? Kind::rules
                    : what == "parse" ? Kind::parse
                                      : Kind::reconcile;
}

/* ---- the work ---- */

int32_t run_rules()
{
    if (__build_updatefile_tree() != 0)
        return -1;
    notp_bridge_main = {};
    find_notp_bridge_node(&migr_main.root, 0);
    free_notp_bridges();
    migr_list *sections = &migr_main.update_list;
    for (migr_list *link = sections->next; link != sections; link = link->next) {
        update_section *section = section_of(link);
        check_book();
        if (process_delete(&section->delete_list) != 0 ||
            process_modify(&section->modify_list, 0, section->version) != 0 ||
            process_modify(&section->readd_list, 1, section->version) != 0)
            return -1;
    }
    return 0;
}

int32_t run_stage()
{
    prepare_stage(&part.stage);
    walk_stage(&migr_main, &part.stage);
    return 0;
}

int32_t run_step()
{
    update_section section = {};
    section.version = part.release;
    return migr_hardcode(&section);
}

void run_now()
{
    switch (part.kind) {
    case Part::Kind::stage:
        part_result = run_stage();
        return;
    case Part::Kind::walk:
        part_result = new_config_update(&migr_main);
        return;
    case Part::Kind::step:
        part_result = run_step();
        return;
    case Part::Kind::rules:
        part_result = run_rules();
        return;
    case Part::Kind::reconcile:
        part_result = sync_cli_with_sig_db();
        return;
    case Part::Kind::parse:
        part_result = 0;
        return;
    case Part::Kind::adjust:
        part_result = adjust_tree();
    }
}

/* ---- the tree ---- */

void begin_pass(const Pass &pass)
{
    begin();
    migr_list_init(&migr_main.update_list);
    vdom_update_flag = 0;
    migr_main.mode = pass.mode;
    migr_main.cfg_version = pass.release;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    snprintf(bak_line, sizeof bak_line, "#config-version=%.200s-%d.%02d-CV-build0600-170101:x\n", pass.model.c_str(),
             pass.release >> 16, pass.release & 0xffff);
    snprintf(migr_main.model_text, sizeof migr_main.model_text, "%s", pass.model.c_str());
    snprintf(migr_main.adom_name, sizeof migr_main.adom_name, "%s", pass.domain.c_str());
}

/* Every so many nodes one, down to entries' sets; nested blocks as they come. */
void mark_nodes(config_node *list, unsigned every, unsigned *count, void (*mark)(config_node *))
{
    for (config_node *node = list; node; node = node->next) {
        if (++*count % every == 0)
            mark(node);
        for (config_node *set = node->set_list; set; set = set->next)
            if (++*count % every == 0)
                mark(set);
    }
}

void mark_tree(unsigned every, void (*mark)(config_node *))
{
    unsigned count = 0;
    if (every == 0)
        return;
    mark_nodes(migr_main.root.top_list, every, &count, mark);
    for (config_node *top_node = migr_main.root.top_list; top_node; top_node = top_node->next) {
        mark_nodes(top_node->config_list, every, &count, mark);
        mark_nodes(top_node->edit_list, every, &count, mark);
        for (config_node *edit = top_node->edit_list; edit; edit = edit->next)
            mark_nodes(edit->config_list, every, &count, mark);
    }
}

void check_reading_back(const std::string &text)
{
    std::string difference = misread(migr_main.root, text);
    if (difference.empty())
        return;
    tell(("A tree does not read back as what it was:\n" + difference).c_str());
    abort();
}

void free_pass()
{
    free_migr_tree();
    free_node(&migr_main.root);
    forget_pass_nodes();
    migr_release_nodes();
}

/* Where memory is refused a tree may be any, and nobody takes down how it came about. */
void run_without_memory(const Pass &pass, size_t refused)
{
    begin_pass(pass);
    migr_observe_changes(nullptr);
    if (plant(pass.text) == 0) {
        support::fail_allocation(refused);
        comes_back(run_now);
        support::fail_allocation(0);
    }
    written(&migr_main.root);
    free_pass();
}

PartResult run_pass(const Pass &pass, const std::string &further)
{
    PartResult result = {};
    begin_pass(pass);
    if (plant(pass.text) == 0) {
        mark_tree(pass.deleted, mark_deleted);
        mark_tree(pass.hidden, mark_hidden);
        result.further = migr_main.root.top_list && plant(further) == 0;
        result.whole = comes_back(run_now) && part_result == 0;
        check_book();
    }
    migr_observe_changes(nullptr);
    result.text = written(&migr_main.root);
    check_reading_back(result.text);
    free_pass();
    return result;
}

} // namespace

std::vector<PartResult> run_part(const Document &document, const std::string &further)
{
    std::vector<PartResult> results;
    understand(document);
    done_sigid_check = 0;
    tmp_tree_root = {};
    tmp_tree_root.kind = MIGR_ROOT;
    bool asks = part.kind == Part::Kind::adjust || part.kind == Part::Kind::reconcile || !document.database.empty();
    if (asks)
        global_sig_db_open();
    for (const Pass &pass : document.passes)
        if (document.refused != 0)
            run_without_memory(pass, document.refused);
        else
            results.push_back(run_pass(pass, further));
    free_tmp_tree();
    global_sig_db_close();
    free_sigid_list();
    return results;
}

} // namespace fuzzing
