/* Callbacks that take down where a walk has brought them, and do what a test says. They migrate nothing. */
#include "recorder.h"

#include <cstdlib>
#include <cstring>

namespace walk_test {
namespace {

std::string         record;
std::vector<Action> actions;
bool                show_row;

std::string shown(const config_node *node)
{
    if (node == &EMPTY_NODE)
        return "-";
    if (node == &EOB_NODE)
        return "$";
    return node->name;
}

void see(int row, int32_t round, int32_t *progress)
{
    if (show_row)
        record += std::to_string(row) + ":";
    record += std::to_string(round) + " " + reinterpret_cast<const char *>(top[0]) + " |";
    for (int slot = 1; slot <= 4; slot++)
        record += " " + shown(top[slot]);
    record += " |";
    for (int slot = 1; slot <= 4; slot++)
        record += " " + shown(sub[slot]);
    record += "\n";
    if (actions[static_cast<size_t>(row)])
        actions[static_cast<size_t>(row)](round, progress);
}

template <int row> void callback(int32_t round, void *, int32_t *progress)
{
    see(row, round, progress);
}

stage_callback *const callbacks[] = {callback<0>, callback<1>, callback<2>, callback<3>};

} // namespace

Recorder::Recorder()
{
    record.clear();
    actions.clear();
}

Recorder::~Recorder()
{
    for (stage_row &row : rows_)
        free(row.state);
}

int Recorder::add(const char *scope, int32_t rounds, Action action, int32_t state_size)
{
    int number = static_cast<int>(rows_.size());
    rows_.push_back(
        {"recorder", callbacks[number], scope, static_cast<int32_t>(strlen(scope)), rounds, nullptr, state_size, 0, 0});
    actions.push_back(std::move(action));
    show_row = number > 0;
    return number;
}

std::string Recorder::walk()
{
    table_ = {0x50055, STAGE_ADOM, rows_.data(), static_cast<int32_t>(rows_.size())};
    prepare_stage(&table_);
    walk_stage(&migr_main, &table_);
    return record;
}

} // namespace walk_test
