/* Allocations that fail on demand: those that make a node, those that make a value, and those that let a table grow. */
#pragma once

#include <functional>

/* Runs `work` while the allocation of that number, counted from 1, fails, and with `all_behind` all behind it. Gives
 * how many were asked for. 0: none fails. */
int with_failing_nodes(int number, const std::function<void()> &work, bool all_behind = false);
int with_failing_values(int number, const std::function<void()> &work, bool all_behind = false);
int with_failing_growth(int number, const std::function<void()> &work, bool all_behind = false);
