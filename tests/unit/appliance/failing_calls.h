/*
 * Calls by which the stand-in reaches files, memory and the libraries that it stands on: any one of them can be made to
 * fail. What tests call themselves fails as well, so nothing else belongs in the work.
 */
#pragma once

#include <cstddef>
#include <functional>
#include <string>

struct FailedCall {
    size_t      calls;        /* how many there were */
    std::string name;         /* of the one that failed; empty when none did */
    bool        was_renaming; /* a file had been renamed into its place by then */
};

/* Runs the work while the number-th call, from 1, fails with that error; 0 lets all succeed. */
FailedCall with_failing_call(size_t number, int error, const std::function<void()> &work);

/* Runs the work while no call reads or writes more than three bytes, as a kernel may do. */
void with_short_transfers(const std::function<void()> &work);

/* The same for none, and then for each call in turn. */
void with_each_call_failing(int error, const std::function<void()> &work,
                            const std::function<void(const FailedCall &)> &judge);
