/*
 * What stands between the driver and the mechanisms that it calls, in the order in which it calls them.
 *
 * As long as nothing is scripted every call goes through to the mechanism. With `scripted` set, update rules, version
 * chain, walk, reconciliation, split and file jobs do nothing but take down that they were called, and give back what
 * the test has asked for.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace mechanisms {

struct Script {
    bool                                         scripted;
    std::vector<int32_t>                         sections;    /* versions of the sections that are loaded */
    std::map<std::string, int32_t>               results;     /* by what `calls` says; 0 for all others */
    std::map<std::string, std::function<void()>> effects;     /* what a call does besides, by what `calls` says */
    bool                                         no_walk;     /* the walk does nothing, so that a text stays a text */
    bool                                         no_folder;   /* scandir fails */
    std::vector<std::string>                     calls;       /* what has been called, and with what */
    std::function<int(const std::string &)>      compression; /* result of cvgzip for a target; 0: do it */
};

extern Script script;

/* The calls, one a line. */
std::string calls();

} // namespace mechanisms
