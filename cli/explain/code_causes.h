/*
 * Why the library's own code changes a configuration: for each callback, migration, check and job what it is about, and
 * the first sentence of the comment at it. Made from their sources when the command is built; rules are not in it.
 */
#pragma once

#include <span>
#include <string_view>

namespace command {

struct CodeCause {
    std::string_view name; /* as an author of changes has it */
    std::string_view kind;
    std::string_view sentence;
};

extern const std::span<const CodeCause> code_causes;

} // namespace command
