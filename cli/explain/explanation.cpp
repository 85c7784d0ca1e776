/*
 * The observer hands what is told to a ToldTree; when a part has ended, its turns become diffs. A file that is split
 * comes back as two, which are compared by their blocks.
 */
#include "explain/explanation.h"

#include "appliance/inspect.h"
#include "driver/migr.h"
#include "explain/split_diff.h"
#include "run/library_child.h"
#include "system/codec.h"
#include "system/files.h"
#include "system/new_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <unistd.h>

namespace command {

static auto fields_of(ExplainedChange &change)
{
    return std::tie(change.file, change.author, change.diff);
}

static auto fields_of(Explanation &explanation)
{
    return std::tie(explanation.changes, explanation.is_incomplete);
}

namespace {

uint64_t header_lines()
{
    auto lines = [](const char *text) { return std::count(text, text + strlen(text), '\n'); };
    return static_cast<uint64_t>(lines(migr_main.first_line) + lines(migr_main.second_line));
}

class Explainer {
  public:
    explicit Explainer(const ExplanationRequest &request) : request_(request) {}

    void take(const migr_change &change);
    void end_part(int32_t release, std::string_view phase);

    Explanation take_explanation()
    {
        return std::move(explanation_);
    }

  private:
    void begin_file(int32_t release);
    void explain_part();
    void explain_split(const std::vector<TopLevelBlock> &before);
    void take_split(const migr_change &change);
    void add(uint32_t author, std::string diff);

    const ExplanationRequest      &request_;
    Authors                        authors_;
    ToldTree                       tree_;
    PartText                       part_;
    Explanation                    explanation_;
    std::string                    file_;     /* of the pass */
    std::map<std::string, int32_t> releases_; /* of the files that there were passes of, as they were read */

    /* Of the split, if there was one. */
    std::string                split_file_;
    uint32_t                   split_author_ = 0;
    std::vector<TopLevelBlock> split_blocks_;
    size_t                     next_block_ = 0;
    bool                       is_split_ = false; /* it has come to its end */
};

void Explainer::take(const migr_change &change)
{
    if (change.kind == MIGR_OPENED && change.file && strcmp(change.author->mechanism, "read") == 0)
        return tree_.close();
    if (change.kind == MIGR_INCOMPLETE)
        explanation_.is_incomplete = true;
    if (!tree_.is_open() || change.node == 0)
        return;
    if (change.kind == MIGR_WRITTEN || change.kind == MIGR_LEFT_OUT)
        return take_split(change);
    tree_.take(change, authors_.number_of(*change.author));
}

void Explainer::end_part(int32_t release, std::string_view phase)
{
    file_ = file_name_of(current_pass());
    if (phase == "read")
        return begin_file(release);
    if (tree_.has_turns())
        explain_part();
    if (phase == "signatures" && vdom_update_flag) {
        split_file_ = file_;
        split_blocks_ = top_level_blocks(tree_, request_.view.show_secrets);
        next_block_ = 0;
    }
}

/* A file that comes back as it was is one whose pass failed, and with it all that was taken down of it. */
void Explainer::begin_file(int32_t release)
{
    tree_.begin(migr_main.root);
    auto [known, is_first] = releases_.try_emplace(file_, release);
    if (known->second == release && !is_first)
        std::erase_if(explanation_.changes, [&](const ExplainedChange &change) { return change.file == file_; });
    if (known->second != release && file_ == split_file_) {
        is_split_ = true;
        explain_split(std::exchange(split_blocks_, {}));
    } else if (is_first && is_split_ && file_ == first_domain_name) {
        explain_split({});
    }
    known->second = release;
}

void Explainer::explain_part()
{
    tree_.follow_changes();
    take_part_text(tree_, part_);
    if (!part_.varying.empty()) {
        PartDiff diff(tree_, part_, request_.view, header_lines());
        for (uint32_t turn = 1; turn <= tree_.turns().size(); turn++)
            if (request_.takes(authors_.list()[tree_.turns()[turn - 1]]))
                add(tree_.turns()[turn - 1], diff.of_turn(turn));
    }
    tree_.forget_part(part_.lost);
}

void Explainer::explain_split(const std::vector<TopLevelBlock> &before)
{
    if (!request_.takes(authors_.list()[split_author_]))
        return;
    std::vector<TopLevelBlock> after = top_level_blocks(tree_, request_.view.show_secrets);
    add(split_author_, split_diff(before, after, file_, request_.view.lines, header_lines()));
}

/* Where a top-level block goes. They are told in their order. */
void Explainer::take_split(const migr_change &change)
{
    uint32_t node = tree_.number_of(change.node);
    if (next_block_ >= split_blocks_.size() || split_blocks_[next_block_].node != node)
        return;
    split_author_ = authors_.number_of(*change.author);
    split_blocks_[next_block_++].file = change.kind == MIGR_WRITTEN ? file_name_of(change.file) : "";
}

void Explainer::add(uint32_t author, std::string diff)
{
    if (!diff.empty())
        explanation_.changes.push_back({file_, authors_.list()[author], std::move(diff)});
}

/* ---- in the library's child ---- */

std::unique_ptr<Explainer> explainer;

/* The library knows of no exceptions. */
template <typename Work> void do_or_end(const Work &work)
{
    try {
        work();
    } catch (const std::bad_alloc &) {
        fputs("not enough memory to explain this run\n", stderr);
        fflush(nullptr);
        _exit(1);
    }
}

void observe(const migr_change *change)
{
    do_or_end([&] { explainer->take(*change); });
}

} // namespace

Explanation explanation_of_run(const ExplanationRequest &request)
{
    explainer = std::make_unique<Explainer>(request);
    watch_sections(
        [](int32_t release, std::string_view phase) { do_or_end([&] { explainer->end_part(release, phase); }); });
    migr_observe_changes(observe);
    migr_main_do_all();
    migr_observe_changes(nullptr);
    watch_sections(nullptr);
    return std::exchange(explainer, nullptr)->take_explanation();
}

void run_and_explain(const ExplanationRequest &request)
{
    Explanation explanation = explanation_of_run(request);
    int         error = errno; /* the last thing that the system refused the library */
    write_new(explanation_path, encoded(std::move(explanation)));
    errno = error;
}

Explanation explanation_from(const std::string &bytes)
{
    return bytes.empty() ? Explanation() : decoded<Explanation>(bytes);
}

} // namespace command
