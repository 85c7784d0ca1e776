/* The observer: a branch per kind of change. */
#include "explain/journal.h"

#include "driver/migr.h"
#include "run/library_child.h"
#include "system/files.h"

#include <map>
#include <sys/stat.h>

namespace command {

namespace {

/* What is under way. */
struct Taking {
    Journal                         journal;
    Authors                         authors;
    uint64_t                        first = 0;         /* the first node's number; 0: there was none yet */
    uint32_t                        reading = nowhere; /* the text that is being read */
    std::map<std::string, uint32_t> written;           /* by file, its newest text */
    std::string                     last_path;         /* of the text that was written last */
    uint32_t                        last_written = nowhere;
};

Taking *taking; /* null while nothing is taken down */

uint32_t author_of(const migr_change &change)
{
    return taking->authors.number_of(*change.author);
}

/* Numbers run on from one run of the process to the next; here they begin with 1. */
uint32_t number_of(uint64_t identity)
{
    if (taking->first == 0)
        taking->first = identity;
    if (identity == 0 || identity < taking->first)
        return 0; /* none, or a node of an earlier run */
    auto number = static_cast<uint32_t>(identity - taking->first + 1);
    if (number >= taking->journal.nodes.size())
        taking->journal.nodes.resize(number + 1);
    return number;
}

JournalNode &node_of(uint64_t identity)
{
    return taking->journal.nodes[number_of(identity)];
}

void add_event(const migr_change &change, EventKind kind, uint32_t file = nowhere)
{
    uint32_t     author = author_of(change);
    JournalNode &node = node_of(change.node);
    taking->journal.events.push_back({node.last_event, author, kind, file});
    node.last_event = static_cast<uint32_t>(taking->journal.events.size() - 1);
}

uint32_t add_text(JournalText text)
{
    text.begun = static_cast<uint32_t>(taking->journal.events.size());
    taking->journal.texts.push_back(std::move(text));
    return static_cast<uint32_t>(taking->journal.texts.size() - 1);
}

/* For the nodes of a text that is going to be read, so that they need not move as they become more. */
void make_room(const char *path)
{
    static constexpr size_t   usual_node = 32; /* characters, or more */
    LargeVector<JournalNode> &nodes = taking->journal.nodes;
    struct stat               st = {};
    if (stat(path, &st) != 0)
        return;
    nodes.reserve(nodes.size() + static_cast<size_t>(st.st_size) / usual_node);
}

/* Whatever else than the configuration is read is a file of the image, by a step that needs it. */
void open_text(const migr_change &change)
{
    if (!change.file)
        return;
    JournalText text;
    text.is_configuration = std::string_view(change.author->mechanism) == "read";
    text.author = author_of(change);
    text.file = text.is_configuration ? file_name_of(current_pass()) : change.file;
    auto written = taking->written.find(text.file);
    if (text.is_configuration && written != taking->written.end())
        text.continues = written->second;
    taking->reading = add_text(text);
    make_room(change.file);
    number_of(change.node);
}

/* Each pass writes a file from its first line on, so a text that has been read since is an older one. */
bool is_being_written(uint32_t text)
{
    return text > taking->reading;
}

uint32_t text_written(const migr_change &change)
{
    if (!taking->last_path.empty() && taking->last_path == change.file && is_being_written(taking->last_written))
        return taking->last_written;
    taking->last_path = change.file;
    std::string file = file_name_of(change.file);
    auto        at = taking->written.find(file);
    uint32_t    author = author_of(change);
    if (at != taking->written.end() && is_being_written(at->second))
        return taking->last_written = at->second;
    JournalText text;
    text.file = file;
    text.is_configuration = true;
    text.is_written = true;
    text.author = author;
    return taking->last_written = taking->written[file] = add_text(text);
}

void take_writing(const migr_change &change)
{
    uint32_t     text = text_written(change);
    JournalNode &node = node_of(change.node);
    Span         out = {change.first_line, change.last_line, 0};
    if (node.written != nowhere) {
        taking->journal.further.push_back({number_of(change.node), text, out});
        return;
    }
    node.written = text;
    node.out = out;
}

void take_end_of_writing(const migr_change &change)
{
    JournalNode &node = node_of(change.node);
    if (node.out.end == 0)
        node.out.end = change.last_line;
    for (auto at = taking->journal.further.rbegin(); at != taking->journal.further.rend(); ++at)
        if (at->node == number_of(change.node) && at->out.end == 0) {
            at->out.end = change.last_line;
            return;
        }
}

void take_parsed(const migr_change &change)
{
    uint32_t     parent = number_of(change.parent);
    JournalNode &node = node_of(change.node);
    node.parent = parent;
    node.read = change.first_line == 0 ? nowhere : taking->reading;
    node.in = {change.first_line, change.last_line, 0};
}

void take_link(const migr_change &change)
{
    uint32_t parent = number_of(change.parent);
    add_event(change, EventKind::linked);
    node_of(change.node).parent = parent;
}

void take_filling(const migr_change &change)
{
    std::vector<std::string> &files = taking->journal.files;
    if (files.empty() || files.back() != change.file)
        files.push_back(change.file);
    add_event(change, EventKind::filled, static_cast<uint32_t>(files.size() - 1));
}

/* The library works in the root folder, and a slash at the end is a matter of how it removes. */
std::string whole_path(std::string path)
{
    if (path.ends_with('/'))
        path.pop_back();
    return path.starts_with('/') ? path : "/" + path;
}

void take_effect(const migr_change &change, const char *what)
{
    taking->journal.effects.push_back(
        {what, whole_path(change.file), change.before ? whole_path(change.before) : "", author_of(change)});
}

void write_down(const migr_change *told)
{
    const migr_change &change = *told;
    switch (change.kind) {
    case MIGR_OPENED:
        return open_text(change);
    case MIGR_PARSED:
        return take_parsed(change);
    case MIGR_PARSED_END:
        node_of(change.node).in.end = change.last_line;
        return;
    case MIGR_MADE:
        return add_event(change, EventKind::made);
    case MIGR_COPIED: {
        uint32_t source = change.source ? number_of(change.source) : 0;
        add_event(change, EventKind::copied);
        node_of(change.node).source = source;
        return;
    }
    case MIGR_LINKED:
        return take_link(change);
    case MIGR_UNLINKED:
        return add_event(change, EventKind::unlinked);
    case MIGR_RENAMED:
        return add_event(change, EventKind::renamed);
    case MIGR_REVALUED:
        return add_event(change, EventKind::revalued);
    case MIGR_FILLED:
        return take_filling(change);
    case MIGR_MARKED:
        return add_event(change, change.deleted || change.hidden ? EventKind::marked : EventKind::unmarked);
    case MIGR_WRITTEN:
        return take_writing(change);
    case MIGR_WRITTEN_END:
        return take_end_of_writing(change);
    case MIGR_LEFT_OUT:
        return add_event(change, EventKind::left_out);
    case MIGR_FILE_REMOVED:
        return take_effect(change, "removed");
    case MIGR_FILE_MOVED:
        return take_effect(change, "moved");
    case MIGR_FILE_COPIED:
        return take_effect(change, "copied");
    case MIGR_FILE_REWRITTEN:
        return take_effect(change, "rewritten");
    case MIGR_FOLDER_MADE:
        return take_effect(change, "made");
    case MIGR_INCOMPLETE:
        taking->journal.is_incomplete = true;
        return;
    default:
        return;
    }
}

} // namespace

Journal take_down(void (*library)())
{
    Taking now;
    taking = &now;
    now.journal.nodes.resize(1);
    migr_observe_changes(write_down);
    library();
    migr_observe_changes(nullptr);
    taking = nullptr;
    now.journal.authors = now.authors.take_list();
    return std::move(now.journal);
}

} // namespace command
