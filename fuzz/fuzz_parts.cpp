/*
 * Parts of an upgrade, each by itself, on any tree: an input is a document (document.h). What is held: no change
 * that was not told, a tree that reads back as it was written, the same again from the same, and that a block which
 * nothing in an upgrade names stays as it is, and changes nothing for the others.
 */
#include "fuzz/afresh.h"
#include "fuzz/fuzzing.h"
#include "fuzz/held_world.h"
#include "fuzz/parts.h"
#include "fuzz/root_folder.h"

#include <algorithm>

namespace {

using namespace fuzzing;

constexpr char stranger_opening[] = "config zz-stranger\n";

/* A value of the document's own, in blocks that nobody knows. */
std::string stranger_for(const Document &document)
{
    std::string value = "x";
    for (const Pass &pass : document.passes) {
        size_t at = pass.text.find("\n", pass.text.size() / 3);
        size_t end = pass.text.find_first_of(" \n", at == std::string::npos ? at : at + 1);
        if (end != std::string::npos)
            value = pass.text.substr(at + 1, end - at - 1);
        if (value.empty() || value.size() > 500 || value.find_first_of("\"\t\v\f\r") != std::string::npos ||
            value.find('\0') != std::string::npos)
            value = "x";
    }
    return stranger_opening + ("    set zz-a " + value) + "\n    edit \"zz b\"\n        set zz-c \"" + value +
           "\"\n        config zz-d\n            edit 1\n                set zz-e " + value +
           "\n            next\n        end\n    next\nend\n";
}

/* Without the stranger, who must stand there once, as it came. */
std::string taken_out(std::string text, const std::string &stranger)
{
    size_t at = text.find(stranger);
    if (at == std::string::npos) {
        tell(("A block that nothing names has changed:\n" + text).c_str());
        abort();
    }
    return text.erase(at, stranger.size());
}

struct Outcome {
    bool        whole; /* each pass came to its end, and to a tree that is not empty: in an empty one less is done */
    std::string text;  /* everything that the run has left */
};

Outcome outcome_of(const Document &document, const std::string &stranger)
{
    std::string all = afresh([&] {
        lay_out(document);
        bool        whole = true;
        std::string text;
        for (PartResult &result : run_part(document, stranger)) {
            whole = whole && result.whole && !result.text.empty();
            bool has_stranger = result.whole && result.further && !stranger.empty();
            text += has_stranger ? taken_out(std::move(result.text), stranger) : result.text;
        }
        for (const auto &[path, content] : listing())
            text += path + "=" + content + "\n";
        return (whole ? '1' : '0') + text;
    });
    return {all[0] == '1', all.substr(1)};
}

/* From the line ahead of the first one that differs. */
std::string differing(const std::string &text, const std::string &other)
{
    auto   at = std::mismatch(text.begin(), text.end(), other.begin(), other.end()).first - text.begin();
    size_t line = text.rfind('\n', static_cast<size_t>(at));
    size_t ahead = line == std::string::npos || line == 0 ? 0 : text.rfind('\n', line - 1) + 1;
    return text.substr(ahead, 600);
}

[[noreturn]] void tell_difference(const Outcome &one, const Outcome &other, const char *what)
{
    std::string once = differing(one.text, other.text), then = differing(other.text, one.text);
    tell((std::string(what) + "\n---- once\n" + once + "\n---- and then\n" + then).c_str());
    abort();
}

/* What comes of it is anybody's guess, but nothing must break. */
int run_without_memory(const Document &document)
{
    afresh([&] {
        lay_out(document);
        run_part(document, "");
        return std::string();
    });
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Inside inside;
    take_chance_away();
    Document document = document_of({reinterpret_cast<const char *>(data), size});
    if (document.refused != 0)
        return run_without_memory(document);
    Outcome once = outcome_of(document, "");
    Outcome again = outcome_of(document, once.whole ? stranger_for(document) : "");
    if (once.text == again.text)
        return 0;
    if (outcome_of(document, "").text != once.text)
        tell_difference(once, again, "Two runs from the same files differ.");
    tell_difference(once, again, "A block that nothing names changes others.");
}
