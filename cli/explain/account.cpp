/* From nodes to lines: each written node is led back to what it was read from, and what is then left was dropped. */
#include "explain/account.h"

#include "explain/lined_text.h"
#include "language/lines.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace command {

namespace {

/* ---- texts ---- */

std::string_view without_newline(std::string_view text)
{
    return text.ends_with('\n') ? text.substr(0, text.size() - 1) : text;
}

bool is_same_text(std::string_view before, std::string_view after)
{
    return without_newline(without_indent(before)) == without_newline(without_indent(after));
}

/* But for white space, which the writer puts as it always does. */
bool is_same_but_for_blanks(std::string_view before, std::string_view after)
{
    return join_words(before, ' ') == join_words(after, ' ');
}

/* ---- the accountant ---- */

constexpr size_t no_file = static_cast<size_t>(-1);
constexpr size_t no_text = static_cast<size_t>(-1);

struct Origin {
    uint32_t              node = 0;  /* read from a file as it was; 0: none */
    uint32_t              first = 0; /* the first that there was of it, read or made */
    bool                  is_copy = false;
    uint32_t              crossed = nowhere; /* the text in which it went from one pass to the next */
    std::vector<uint32_t> events;
};

/* Something that counts as a cause, and how many events there were ahead of it. */
struct Deed {
    uint32_t when;
    uint32_t author;
};

class Accountant {
  public:
    Accountant(Journal journal, const std::vector<AccountedText> &files, Detail detail)
        : journal_(std::move(journal)), files_(files), detail_(detail)
    {
        for (const AccountedText &file : files) {
            old_texts_.emplace_back(file.old_text);
            new_texts_.emplace_back(file.new_text);
        }
        find_files_of_texts();
        index_writings();
    }

    Account account();

  private:
    struct Written {
        uint32_t node = 0;          /* 0: none */
        uint32_t further = nowhere; /* its place in the journal's further writings, if it is one */
    };

    /* What is known of the lines of an entry, made or not. */
    struct Counted {
        LineFate fate;
        Span     in, out;
        bool     has_cause = false;
    };

    void                  find_files_of_texts();
    void                  index_writings();
    void                  add_writing(uint32_t text, const Span &out, const Written &written);
    const Span           &out_of(const Written &written) const;
    uint32_t              writer_of(uint32_t text, uint32_t line) const;
    size_t                file_of(const std::string &name) const;
    std::vector<uint32_t> events_of(uint32_t node, uint32_t limit) const;
    uint32_t              event_of(uint32_t node, EventKind kind) const;
    Origin                origin_of(uint32_t node) const;
    std::vector<uint32_t> removals_of(uint32_t node) const;
    std::vector<uint32_t> drop_events(uint32_t node) const;
    std::vector<uint32_t> addition_events(const Origin &origin) const;
    std::vector<Deed>     deeds_of(const std::vector<uint32_t> &events, const std::vector<EventKind> &kinds) const;
    Deed                  deed_of_text(uint32_t text) const;
    std::string           filled_from(const std::vector<uint32_t> &events) const;
    uint32_t              text_behind(uint32_t read) const;
    uint32_t              reading_behind(uint32_t node) const;
    LineFate fate_of(std::string_view before, std::string_view after, bool other_file, const Origin &origin) const;
    std::vector<uint32_t> causes_of(const AccountEntry &entry, const Origin &origin, size_t in_file) const;
    bool                  was_moved(const std::vector<uint32_t> &events) const;
    uint32_t              result_of(const std::string &file) const;
    void                  take_results();
    void                  take_writing(size_t file, const Written &written, const Origin &origin);
    void                  take_result(size_t file, const Written &written, const Origin &origin);
    void                  take_addition(size_t file, const Written &written, const Origin &origin);
    void                  take_losses();
    bool                  has_entry(LineFate fate) const;
    void                  count(const Counted &lines, size_t in_file, size_t out_file);
    void                  finish(AccountFile &file, size_t at);

    Journal                                  journal_;
    const std::vector<AccountedText>        &files_;
    Detail                                   detail_;
    std::vector<size_t>                      file_of_text_; /* of those of the journal; no_file for none of the files */
    std::vector<LinedText>                   old_texts_, new_texts_;
    std::map<uint32_t, LargeVector<Written>> writings_; /* by text; in each by the line where it begins */
    std::vector<uint32_t>                    next_;     /* the node that read what this one wrote */
    std::vector<bool>                        claimed_;
    Account                                  account_;
};

/* Of a file that is read twice in turn the first pass has failed, and nothing came of what it read. It is another
 * matter when the second reading finds nothing: then all that was read first has been dropped. */
void Accountant::find_files_of_texts()
{
    std::vector<bool> has_nodes(journal_.texts.size());
    for (const JournalNode &node : journal_.nodes)
        if (node.read != nowhere)
            has_nodes[node.read] = true;
    size_t last_reading = no_text; /* a text of the configuration, behind which none was written */
    for (size_t at = 0; at < journal_.texts.size(); at++) {
        const JournalText &text = journal_.texts[at];
        file_of_text_.push_back(file_of(text.file));
        if (!text.is_configuration)
            continue;
        if (last_reading != no_text && !text.is_written && has_nodes[at] &&
            journal_.texts[last_reading].file == text.file)
            file_of_text_[last_reading] = no_file;
        last_reading = text.is_written ? no_text : at;
    }
}

void Accountant::index_writings()
{
    for (uint32_t node = 1; node < journal_.nodes.size(); node++) {
        const JournalNode &one = journal_.nodes[node];
        if (one.written != nowhere)
            add_writing(one.written, one.out, {node});
    }
    for (uint32_t at = 0; at < journal_.further.size(); at++) {
        const FurtherWriting &one = journal_.further[at];
        add_writing(one.text, one.out, {one.node, at});
    }
    next_.resize(journal_.nodes.size());
    for (uint32_t node = 1; node < journal_.nodes.size(); node++) {
        const JournalNode &one = journal_.nodes[node];
        if (one.read == nowhere || journal_.texts[one.read].continues == nowhere)
            continue;
        uint32_t writer = writer_of(journal_.texts[one.read].continues, one.in.first);
        if (writer != 0)
            next_[writer] = node;
    }
}

/* No two nodes begin in one line. */
void Accountant::add_writing(uint32_t text, const Span &out, const Written &written)
{
    LargeVector<Written> &by_line = writings_[text];
    if (out.first >= by_line.size())
        by_line.resize(std::max<size_t>(out.first + 1, by_line.size() * 2));
    by_line[out.first] = written;
}

const Span &Accountant::out_of(const Written &written) const
{
    return written.further == nowhere ? journal_.nodes[written.node].out : journal_.further[written.further].out;
}

uint32_t Accountant::writer_of(uint32_t text, uint32_t line) const
{
    auto writings = writings_.find(text);
    return writings == writings_.end() || line >= writings->second.size() ? 0 : writings->second[line].node;
}

size_t Accountant::file_of(const std::string &name) const
{
    auto at = std::find_if(files_.begin(), files_.end(), [&](const AccountedText &file) { return file.file == name; });
    return at == files_.end() ? no_file : static_cast<size_t>(at - files_.begin());
}

/* ---- events ---- */

/* In the order in which they happened, those ahead of the limit. */
std::vector<uint32_t> Accountant::events_of(uint32_t node, uint32_t limit) const
{
    std::vector<uint32_t> events;
    for (uint32_t at = journal_.nodes[node].last_event; at != nowhere; at = journal_.events[at].previous)
        if (at < limit)
            events.push_back(at);
    std::reverse(events.begin(), events.end());
    return events;
}

uint32_t Accountant::event_of(uint32_t node, EventKind kind) const
{
    for (uint32_t at = journal_.nodes[node].last_event; at != nowhere; at = journal_.events[at].previous)
        if (journal_.events[at].kind == kind)
            return at;
    return nowhere;
}

/* From pass to pass by the lines that one wrote and the next read, and from copies to what they were copied from. */
Origin Accountant::origin_of(uint32_t node) const
{
    Origin   origin;
    uint32_t limit = nowhere;
    while (node != 0) {
        origin.first = node;
        std::vector<uint32_t> events = events_of(node, limit);
        origin.events.insert(origin.events.end(), events.begin(), events.end());
        const JournalNode &one = journal_.nodes[node];
        if (one.read != nowhere) {
            const JournalText &text = journal_.texts[one.read];
            bool               is_first = text.is_configuration && text.continues == nowhere;
            origin.node = is_first ? node : 0;
            if (is_first || !text.is_configuration)
                return origin;
            origin.crossed = text.continues;
            node = writer_of(text.continues, one.in.first);
        } else {
            origin.is_copy = origin.is_copy || one.source != 0;
            limit = event_of(node, EventKind::copied);
            node = one.source;
        }
    }
    return origin;
}

/* What keeps a node out of its text: that it was unlinked or marked and has not come back since, or was left out. */
std::vector<uint32_t> Accountant::removals_of(uint32_t node) const
{
    std::vector<uint32_t> removals;
    bool                  is_back = false, is_unmarked = false;
    for (uint32_t at = journal_.nodes[node].last_event; at != nowhere; at = journal_.events[at].previous) {
        EventKind kind = journal_.events[at].kind;
        is_back = is_back || kind == EventKind::linked;
        is_unmarked = is_unmarked || kind == EventKind::unmarked;
        if ((kind == EventKind::unlinked && !is_back) || (kind == EventKind::marked && !is_unmarked) ||
            kind == EventKind::left_out)
            removals.push_back(at);
    }
    return removals;
}

/* All that was done to a node, and what keeps it, or else the nearest block around it, out of the text. */
std::vector<uint32_t> Accountant::drop_events(uint32_t node) const
{
    std::vector<uint32_t> events = events_of(node, nowhere);
    while (next_[node] != 0) {
        node = next_[node];
        std::vector<uint32_t> own = events_of(node, nowhere);
        events.insert(events.end(), own.begin(), own.end());
    }
    std::vector<uint32_t> removals;
    for (; node != 0 && removals.empty(); node = journal_.nodes[node].parent)
        removals = removals_of(node);
    events.insert(events.end(), removals.begin(), removals.end());
    return events;
}

/* What made a node, and what put it, or the block around it, into the tree. */
std::vector<uint32_t> Accountant::addition_events(const Origin &origin) const
{
    std::vector<uint32_t> events = origin.events;
    for (uint32_t at = origin.first; at != 0; at = journal_.nodes[at].parent) {
        uint32_t linked = event_of(at, EventKind::linked);
        if (linked == nowhere)
            continue;
        events.push_back(linked);
        break;
    }
    return events;
}

std::vector<Deed> Accountant::deeds_of(const std::vector<uint32_t> &events, const std::vector<EventKind> &kinds) const
{
    std::vector<Deed> deeds;
    for (uint32_t event : events)
        if (std::find(kinds.begin(), kinds.end(), journal_.events[event].kind) != kinds.end())
            deeds.push_back({event + 1, journal_.events[event].author});
    return deeds;
}

/* Of whoever read or wrote a text. */
Deed Accountant::deed_of_text(uint32_t text) const
{
    return {journal_.texts[text].begun, journal_.texts[text].author};
}

std::string Accountant::filled_from(const std::vector<uint32_t> &events) const
{
    for (auto event = events.rbegin(); event != events.rend(); ++event)
        if (journal_.events[*event].kind == EventKind::filled)
            return journal_.files[journal_.events[*event].file];
    return "";
}

/* What the pass that has read that text wrote. */
uint32_t Accountant::text_behind(uint32_t read) const
{
    while (!journal_.texts[read].is_written)
        read++;
    return read;
}

/* What was read in the place of the text to which the node was written, without finding it there; nowhere for none. */
uint32_t Accountant::reading_behind(uint32_t node) const
{
    while (next_[node] != 0)
        node = next_[node];
    uint32_t written = journal_.nodes[node].written;
    for (uint32_t text = 0; written != nowhere && text < journal_.texts.size(); text++)
        if (journal_.texts[text].continues == written)
            return text;
    return nowhere;
}

/* Whether it was taken out of its place. One that was only linked below another block, too, still stands there. */
bool Accountant::was_moved(const std::vector<uint32_t> &events) const
{
    return std::any_of(events.begin(), events.end(), [&](uint32_t event) {
        EventKind kind = journal_.events[event].kind;
        return kind == EventKind::unlinked || kind == EventKind::copied;
    });
}

/* ---- entries ---- */

const std::vector<EventKind> moves = {EventKind::copied, EventKind::linked, EventKind::unlinked};
const std::vector<EventKind> rewritings = {EventKind::copied,  EventKind::linked,   EventKind::unlinked,
                                           EventKind::renamed, EventKind::revalued, EventKind::filled};
const std::vector<EventKind> text_changes = {EventKind::copied, EventKind::renamed, EventKind::revalued,
                                             EventKind::filled};
const std::vector<EventKind> removals = {EventKind::renamed,  EventKind::revalued, EventKind::filled,
                                         EventKind::unlinked, EventKind::marked,   EventKind::left_out};
const std::vector<EventKind> additions = {EventKind::made,    EventKind::copied,   EventKind::linked,
                                          EventKind::renamed, EventKind::revalued, EventKind::filled};

/* Each author once, in the order of what they did. */
std::vector<uint32_t> authors_of(std::vector<Deed> deeds)
{
    std::stable_sort(deeds.begin(), deeds.end(),
                     [](const Deed &one, const Deed &other) { return one.when < other.when; });
    std::vector<uint32_t> authors;
    for (const Deed &deed : deeds)
        if (std::find(authors.begin(), authors.end(), deed.author) == authors.end())
            authors.push_back(deed.author);
    return authors;
}

/* The newest text of a file, or nowhere: a pass that has written no node has told of none. */
uint32_t Accountant::result_of(const std::string &file) const
{
    uint32_t result = nowhere;
    for (uint32_t text = 0; text < journal_.texts.size(); text++)
        if (journal_.texts[text].is_configuration && journal_.texts[text].file == file)
            result = journal_.texts[text].is_written ? text : nowhere;
    return result;
}

/* What is the line itself comes ahead of what was copied from it. */
void Accountant::take_results()
{
    claimed_.resize(journal_.nodes.size());
    std::vector<std::pair<size_t, const LargeVector<Written> *>> results;
    for (size_t file = 0; file < files_.size(); file++) {
        auto writings = writings_.find(result_of(files_[file].file));
        if (writings != writings_.end())
            results.emplace_back(file, &writings->second);
    }
    std::vector<std::pair<size_t, const Written *>> copies;
    for (auto [file, writings] : results)
        for (const Written &written : *writings) {
            if (written.node == 0)
                continue;
            Origin origin = origin_of(written.node);
            if (origin.is_copy || written.further != nowhere)
                copies.emplace_back(file, &written);
            else
                take_writing(file, written, origin);
        }
    for (auto [file, written] : copies)
        take_writing(file, *written, origin_of(written->node));
}

void Accountant::take_writing(size_t file, const Written &written, const Origin &origin)
{
    if (origin.node != 0 && !claimed_[origin.node])
        take_result(file, written, origin);
    else
        take_addition(file, written, origin);
}

LineFate Accountant::fate_of(std::string_view before, std::string_view after, bool other_file,
                             const Origin &origin) const
{
    if (!is_same_text(before, after))
        return LineFate::rewritten;
    return other_file || was_moved(origin.events) ? LineFate::moved : LineFate::kept;
}

bool Accountant::has_entry(LineFate fate) const
{
    if (fate == LineFate::kept)
        return detail_ == Detail::lines;
    return is_lost(fate) || detail_ != Detail::losses;
}

void Accountant::take_result(size_t file, const Written &written, const Origin &origin)
{
    claimed_[origin.node] = true;
    const JournalNode &read = journal_.nodes[origin.node];
    const Span        &out = out_of(written);
    size_t             in_file = file_of_text_[read.read];
    if (in_file == no_file)
        return;
    std::string_view before = old_texts_[in_file].lines(read.in);
    std::string_view after = new_texts_[file].lines(out);
    LineFate         fate = fate_of(before, after, in_file != file, origin);
    if (fate == LineFate::kept && !has_entry(fate)) /* most lines of most files */
        return count({fate, read.in, out}, in_file, file);
    AccountEntry entry;
    entry.fate = fate;
    entry.in = read.in;
    entry.out = out;
    entry.path = old_texts_[in_file].path(entry.in.first);
    if (in_file != file)
        entry.out_file = files_[file].file;
    if (fate != LineFate::kept) {
        entry.before = without_indent(before);
        entry.after = without_indent(after);
        entry.causes = causes_of(entry, origin, in_file);
        entry.from_file = filled_from(origin.events);
    }
    count({fate, entry.in, entry.out, !entry.causes.empty()}, in_file, file);
    if (has_entry(fate))
        account_.files[in_file].entries.push_back(std::move(entry));
}

/* Of a line that was moved or rewritten. White space is the writer's, and a text that nobody has changed since was read
 * otherwise than it stands. */
std::vector<uint32_t> Accountant::causes_of(const AccountEntry &entry, const Origin &origin, size_t in_file) const
{
    bool              is_rewritten = entry.fate == LineFate::rewritten;
    uint32_t          read = journal_.nodes[origin.node].read;
    std::vector<Deed> deeds = deeds_of(origin.events, is_rewritten ? rewritings : moves);
    if (origin.crossed != nowhere && journal_.texts[origin.crossed].file != files_[in_file].file)
        deeds.push_back(deed_of_text(origin.crossed));
    if (is_rewritten && is_same_but_for_blanks(entry.before, entry.after))
        deeds.push_back(deed_of_text(text_behind(read)));
    else if (is_rewritten && deeds_of(origin.events, text_changes).empty())
        deeds.push_back(deed_of_text(read));
    return authors_of(std::move(deeds));
}

void Accountant::take_addition(size_t file, const Written &written, const Origin &origin)
{
    AccountEntry entry;
    entry.fate = LineFate::added;
    entry.out = out_of(written);
    std::vector<Deed> deeds = deeds_of(addition_events(origin), additions);
    uint32_t          read = journal_.nodes[origin.first].read;
    if (read != nowhere && journal_.texts[read].continues != nowhere)
        deeds.push_back(deed_of_text(read)); /* who found it where nobody had written it */
    entry.causes = authors_of(std::move(deeds));
    count({entry.fate, {}, entry.out, !entry.causes.empty()}, no_file, file);
    if (!has_entry(entry.fate))
        return;
    entry.path = new_texts_[file].path(entry.out.first);
    entry.after = without_indent(new_texts_[file].lines(entry.out));
    entry.from_file = filled_from(origin.events);
    if (origin.node != 0)
        entry.copied_from = journal_.nodes[origin.node].in;
    account_.files[file].entries.push_back(std::move(entry));
}

void Accountant::take_losses()
{
    for (uint32_t node = 1; node < journal_.nodes.size(); node++) {
        const JournalNode &one = journal_.nodes[node];
        if (claimed_[node] || one.read == nowhere)
            continue;
        const JournalText &text = journal_.texts[one.read];
        size_t             file = file_of_text_[one.read];
        if (!text.is_configuration || text.continues != nowhere || file == no_file)
            continue;
        AccountEntry entry;
        entry.fate = LineFate::dropped;
        entry.in = one.in;
        std::vector<Deed> deeds = deeds_of(drop_events(node), removals);
        if (uint32_t reading = reading_behind(node); reading != nowhere)
            deeds.push_back(deed_of_text(reading));
        entry.causes = authors_of(std::move(deeds));
        entry.path = old_texts_[file].path(one.in.first);
        entry.before = without_indent(old_texts_[file].lines(one.in));
        count({entry.fate, entry.in, {}, !entry.causes.empty()}, file, no_file);
        account_.files[file].entries.push_back(std::move(entry));
    }
}

uint64_t &counted(LineCounts &counts, LineFate fate)
{
    switch (fate) {
    case LineFate::moved:
        return counts.moved;
    case LineFate::rewritten:
        return counts.rewritten;
    case LineFate::dropped:
        return counts.dropped;
    case LineFate::added:
        return counts.added;
    default:
        return counts.kept;
    }
}

void Accountant::count(const Counted &lines, size_t in_file, size_t out_file)
{
    uint64_t in = 0, out = 0;
    if (in_file != no_file)
        in = old_texts_[in_file].take(lines.in);
    if (out_file != no_file)
        out = new_texts_[out_file].take(lines.out);
    if (in_file != no_file)
        counted(account_.files[in_file].in, lines.fate) += in;
    if (out_file != no_file)
        counted(account_.files[out_file].out, lines.fate) += out;
    if (lines.fate != LineFate::kept && !lines.has_cause)
        account_.files[in_file != no_file ? in_file : out_file].unexplained += std::max(in, out);
}

void Accountant::finish(AccountFile &file, size_t at)
{
    old_texts_[at].count_others(file.in);
    new_texts_[at].count_others(file.out);
    file.out.layout += file.out.unread; /* the writer writes nothing that it does not know */
    file.out.unread = 0;
    if (detail_ == Detail::losses)
        return; /* they are counted in any order */
    auto place = [](const AccountEntry &entry) {
        return std::pair(entry.in.first == 0, entry.in.first == 0 ? entry.out.first : entry.in.first);
    };
    std::stable_sort(file.entries.begin(), file.entries.end(),
                     [&](const AccountEntry &one, const AccountEntry &other) { return place(one) < place(other); });
}

Account Accountant::account()
{
    for (const AccountedText &file : files_)
        account_.files.push_back({file.file, file.before, file.after, {}, {}, 0, {}, {}});
    take_results();
    take_losses();
    for (size_t at = 0; at < files_.size(); at++)
        finish(account_.files[at], at);
    account_.authors = std::move(journal_.authors);
    account_.effects = std::move(journal_.effects);
    account_.is_incomplete = journal_.is_incomplete;
    return std::move(account_);
}

} // namespace

bool is_lost(LineFate fate)
{
    return fate == LineFate::dropped || fate == LineFate::rewritten;
}

const char *word(LineFate fate)
{
    static constexpr const char *words[] = {"kept", "moved", "rewritten", "dropped", "added"};
    return words[static_cast<size_t>(fate)];
}

void append(Account &account, Account further)
{
    auto first = static_cast<uint32_t>(account.authors.size());
    std::move(further.authors.begin(), further.authors.end(), std::back_inserter(account.authors));
    for (AccountFile &file : further.files) {
        for (AccountEntry &entry : file.entries)
            for (uint32_t &cause : entry.causes)
                cause += first;
        for (Loss &loss : file.losses)
            for (uint32_t &cause : loss.causes)
                cause += first;
        account.files.push_back(std::move(file));
    }
    for (FileEffect &effect : further.effects) {
        effect.author += first;
        account.effects.push_back(std::move(effect));
    }
    account.is_incomplete = account.is_incomplete || further.is_incomplete;
}

std::vector<Loss> losses_of(const std::vector<AccountEntry> &entries)
{
    std::map<std::tuple<std::vector<uint32_t>, LineFate, Hand>, uint64_t> lines;
    for (const AccountEntry &entry : entries)
        if (is_lost(entry.fate))
            lines[{entry.causes, entry.fate, entry.hand}] += entry.in.last - entry.in.first + 1;
    std::vector<Loss> losses;
    for (const auto &[key, count] : lines)
        losses.push_back({std::get<LineFate>(key), std::get<Hand>(key), std::get<0>(key), count});
    return losses;
}

Account account_of(Journal journal, const std::vector<AccountedText> &files, Detail detail)
{
    return Accountant(std::move(journal), files, detail).account();
}

} // namespace command
