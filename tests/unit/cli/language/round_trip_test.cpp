/*
 * Holds what damage.h tells against what the library does: a text without damage comes back from parser and writer with
 * nothing lost but its layout. Texts are samples, cut and mutated, and lines of random words.
 */
#include "driver/migr.h"
#include "language/damage.h"
#include "support/files.h"
#include "support/places.h"
#include "support/trees.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using namespace command;
using namespace support;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

constexpr char headers[] = "#config-version=QA-A1X-5.50-CV-build0601-170328:opmode=0\n#conf_file_ver=1\n";

/* What the library makes of a text: the tree as it is written, without header lines. */
struct Written {
    bool        is_parsed;
    std::string text;
};

/* A file in memory: there are tens of thousands of texts. */
Written write_back(const std::string &text)
{
    int         fd = memfd_create("text", MFD_CLOEXEC);
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    bool        is_parsed = setup_tree(&migr_main, path.c_str()) == 0;
    std::string result = written(&migr_main.root);
    migr_release_nodes();
    close(fd);
    return {is_parsed, result};
}

/* One thing that a text says, where it says it. */
struct Statement {
    std::string blocks; /* that it stands in, as their lines have them */
    int         rank;   /* the writer puts sets ahead of entries, and those ahead of nested blocks */
    std::string text;

    bool operator==(const Statement &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Statement &statement)
{
    return out << statement.blocks << " | " << statement.text;
}

bool is_white(char c)
{
    return strchr(" \t\n\v\f\r", c) && c != '\0';
}

std::string trimmed(const std::string &text)
{
    auto start = std::find_if_not(text.begin(), text.end(), is_white);
    auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(start), is_white).base();
    return std::string(start, end);
}

/*
 * A reader of its own for the language: what a text says to someone who knows nothing of the parser. It cuts lines at
 * newlines alone, knows no limits, and drops nothing but layout.
 */
class Reading {
  public:
    explicit Reading(const std::string &text)
    {
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines_.push_back(line);
        while (at_ < lines_.size())
            take(trimmed(lines_[at_++]));
        std::stable_sort(statements_.begin(), statements_.end(), [](const Statement &one, const Statement &other) {
            return std::tie(one.blocks, one.rank) < std::tie(other.blocks, other.rank);
        });
    }
    const std::vector<Statement> &statements() const
    {
        return statements_;
    }

  private:
    void take(const std::string &line)
    {
        if (line.empty() || line[0] == '#')
            return;
        size_t      end = std::min(line.size(), line.find_first_of(" \t\v\f\r"));
        std::string word = line.substr(0, end);
        std::string rest = trimmed(line.substr(end));
        std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return tolower(c); });
        if (word == "config" || word == "edit")
            take_block(word, rest);
        else if (word == "set")
            take_set(rest);
        else
            take_other(word, rest);
    }
    void take_block(const std::string &word, std::string name)
    {
        if (blocks_.empty())
            name.erase(std::unique(name.begin(), name.end(),
                                   [](char one, char other) { return is_white(one) && is_white(other); }),
                       name.end());
        if (blocks_.empty())
            std::replace_if(name.begin(), name.end(), is_white, ' ');
        note(word == "edit" ? 1 : 2, word + " " + name);
        blocks_.push_back(word + " " + name);
    }
    void take_set(const std::string &text)
    {
        size_t quotes = 0, end = 0;
        for (; end < text.size() && (quotes == 1 || !is_white(text[end])); end++)
            quotes += text[end] == '"';
        std::string value = text.substr(end);
        value.erase(0, value.find_first_not_of(" \t\v\f\r"));
        while (value[0] == '"' && !ends_in_a_quote(value) && at_ < lines_.size())
            value += "\n" + lines_[at_++];
        note(0, "set " + text.substr(0, end) + " = " + trimmed(value));
    }
    static bool ends_in_a_quote(const std::string &value)
    {
        std::string text = trimmed(value);
        if (text.size() < 2 || text.back() != '"')
            return false;
        text.pop_back();
        size_t backslashes = text.size() - 1 - std::min(text.size() - 1, text.find_last_not_of('\\'));
        return backslashes % 2 == 0;
    }
    void take_other(const std::string &word, const std::string &rest)
    {
        bool closes = (word == "end" || word == "next") && !blocks_.empty();
        if (closes)
            blocks_.pop_back();
        note(closes && word == "next" ? 1 : 2, word + (rest.empty() ? "" : " " + rest));
    }
    void note(int rank, const std::string &text)
    {
        std::string path;
        for (const std::string &block : blocks_)
            path += "/" + block;
        statements_.push_back({path, rank, text});
    }

    std::vector<std::string> lines_;
    size_t                   at_ = 0;
    std::vector<std::string> blocks_;
    std::vector<Statement>   statements_;
};

/* How many of the texts were without damage: a test that hardly meets any shows nothing. */
struct Tally {
    size_t sound = 0;
    size_t damaged = 0;
};

bool has(const DamageReport &report, DamageKind kind)
{
    return std::any_of(report.found.begin(), report.found.end(),
                       [&](const Damage &damage) { return damage.kind == kind; });
}

void expect_what_the_library_does(const std::string &text, Tally &tally)
{
    DamageReport report = damage_of(text, HeaderLines::none);
    Written      once = write_back(text);
    ASSERT_EQ(report.more, 0u);
    ASSERT_EQ(once.is_parsed, !has(report, DamageKind::no_value)) << text;
    if (once.is_parsed) {
        ASSERT_EQ(report.written_size, once.text.size()) << text;
    }
    if (!report.is_sound()) {
        tally.damaged++;
        return;
    }
    tally.sound++;
    ASSERT_EQ(Reading(text).statements(), Reading(once.text).statements()) << text;
    ASSERT_EQ(write_back(headers + once.text).text, once.text) << text;
}

/* All of the language in few lines. */
const std::string dense = headers + R"(# note
config system global
    set hostname "north gate"
    set timeout 30
    config  list
        edit 1
            set mask 10.0.0.0 255.0.0.0
        next
        edit "two words"
            set page "<p class=\"a\">

# no comment
  end
</p>"
            config inner
                set names "a" "b c"   
            end
        next
    end
end

CONFIG  waf	signature
    Edit "High Level"
        SET score 5
    NEXT
    edit plain
    next
END
)"s;

class RoundTrip : public TreeTest {};

TEST_F(RoundTrip, OfSamplesLosesNothing)
{
    Tally tally;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(source_path("/samples")))
        if (entry.path().extension() == ".conf" && entry.path().parent_path().filename() == "config")
            expect_what_the_library_does(support::file_text(entry.path()), tally);
    EXPECT_GT(tally.sound, 10u);
    EXPECT_EQ(tally.damaged, 0u);
}

TEST_F(RoundTrip, OfATextCutAtEveryByte)
{
    Tally tally;
    for (size_t at = 0; at <= dense.size(); at++)
        ASSERT_NO_FATAL_FAILURE(expect_what_the_library_does(dense.substr(0, at), tally)) << at;
    EXPECT_GT(tally.sound, 10u);
    EXPECT_GT(tally.damaged, dense.size() / 2);
}

/* For each length, whether a text may end there: behind both header lines and behind each top-level block, up to the
 * next. In a sample nothing else stands in the first column. */
std::vector<bool> harmless_lengths(const std::string &text)
{
    std::vector<bool> harmless(text.size() + 1);
    bool              is_between_blocks = false;
    size_t            start = 0;
    for (size_t number = 1; start < text.size(); number++) {
        size_t      newline = text.find('\n', start);
        std::string line = text.substr(start, newline - start);
        harmless[start] = is_between_blocks;
        is_between_blocks = is_between_blocks && !line.starts_with("config ");
        for (size_t at = start + 1; at <= newline; at++)
            harmless[at] = is_between_blocks;
        if (line == "end")
            harmless[newline] = is_between_blocks = true;
        if (number == 2)
            is_between_blocks = true;
        start = newline + 1;
    }
    harmless[text.size()] = is_between_blocks;
    return harmless;
}

TEST_F(RoundTrip, OfSamplesCutAnywhereIsNone)
{
    for (const char *name :
         {"ferry-cloud-6.02/data/config/sys_domain.staging.conf", "joinery-5.20/data/config/sys_domain.partner.conf",
          "joinery-5.20/data/config/sys_domain.root.conf"}) {
        std::string       text = support::file_text(source_path("/samples/") + name);
        std::vector<bool> harmless = harmless_lengths(text);
        for (size_t length = 0; length <= text.size(); length++)
            ASSERT_EQ(damage_of(std::string_view(text).substr(0, length)).is_sound(), harmless[length])
                << name << " cut at " << length;
    }
}

/* With sanitizers a few less: whether texts come back is found without them, and what they look for the fuzzers seek,
 * too. */
int rounds(int plain, int sanitized)
{
    return is_sanitized() ? sanitized : plain;
}

std::string any_of(std::mt19937 &random, const std::vector<std::string> &texts)
{
    return texts[random() % texts.size()];
}

size_t any_place(std::mt19937 &random, const std::string &text)
{
    return random() % (text.size() + 1);
}

const std::vector<std::string> scraps = {
    "\"",
    "\\",
    "\\\"",
    "\n",
    "\0"s,
    "#",
    ",",
    " ",
    "\r",
    "\t",
    "\n\n",
    "end\n",
    "next\n",
    "\nset a b\n",
    "\nedit 7\n",
    "config list\n",
    "\nend\n",
    "set x\n",
    "set q \"a\nb\" c\n",
    "x",
    std::string(130, 'n'),
    "\nset w \"\n",
    "\nedit \"u\n",
    "\"\n",
    "\v\f",
    "\x80\xff",
};

/* One change of the kind that disks, editors and people make. */
void mutate(std::string &text, std::mt19937 &random)
{
    size_t at = any_place(random, text);
    size_t line = text.rfind('\n', at) == text.npos ? 0 : text.rfind('\n', at) + 1;
    size_t end = std::min(text.find('\n', line), text.size() - 1) + 1;
    switch (random() % 7) {
    case 0:
        text.erase(line, end - line);
        break;
    case 1:
        text.insert(line, text.substr(line, end - line));
        break;
    case 2:
        if (at < text.size())
            text[at] = static_cast<char>(text[at] ^ (1 << random() % 8));
        break;
    case 3:
        text.insert(at, any_of(random, scraps));
        break;
    case 4:
        text.erase(at, random() % 20);
        break;
    case 5:
        text.insert(any_place(random, text), text.substr(at, random() % 200));
        break;
    default:
        text.resize(random() % 4 == 0 ? at : text.size());
    }
}

TEST_F(RoundTrip, OfMutatedTexts)
{
    std::mt19937             random(20261122);
    std::vector<std::string> texts = {
        dense, dense, dense,
        support::file_text(source_path("/samples/ferry-cloud-6.02/data/config/sys_domain.staging.conf")),
        support::file_text(source_path("/samples/joinery-5.20/data/config/sys_domain.partner.conf"))};
    Tally tally;
    for (int round = 0; round < rounds(6000, 2000); round++) {
        std::string text = any_of(random, texts);
        for (size_t changes = random() % 3 + 1; changes > 0 && !text.empty(); changes--)
            mutate(text, random);
        ASSERT_NO_FATAL_FAILURE(expect_what_the_library_does(text, tally)) << "round " << round;
    }
    EXPECT_GT(tally.sound * 10, static_cast<size_t>(rounds(6000, 2000)));
    EXPECT_GT(tally.damaged * 10, static_cast<size_t>(rounds(6000, 2000)));
}

TEST_F(RoundTrip, OfRandomWords)
{
    static const std::vector<std::string> words = {
        "config a",    "config a b", "config a,b",    "config",    "edit 1", "edit \"1 2\"", "edit",         "set x y",
        "set x \"y\"", "set x",      "set \"x y\" z", "set x \"y", "z\"",    "\"",           "end",          "next",
        "end",         "next",       "END 1",         "# note",    "",       "  ",           "set x \"\\\"", "rest",
    };
    std::mt19937 random(7);
    Tally        tally;
    for (int round = 0; round < rounds(20000, 4000); round++) {
        std::string text = headers;
        for (size_t lines = random() % 9; lines > 0; lines--)
            text += any_of(random, words) + (random() % 20 ? "\n" : any_of(random, scraps));
        ASSERT_NO_FATAL_FAILURE(expect_what_the_library_does(text, tally)) << "round " << round;
    }
    EXPECT_GT(tally.sound * 40, static_cast<size_t>(rounds(20000, 4000)));
}

TEST_F(RoundTrip, OfDeepBlocks)
{
    Tally tally;
    expect_what_the_library_does(headers + times(200, "config a\nedit 1\nset x y\n") + times(200, "next\nend\n"),
                                 tally);
    EXPECT_EQ(tally.sound, 1u);
}

TEST_F(RoundTrip, OfLinesAtTheLimit)
{
    Tally tally;
    for (size_t length = 49130; length < 49160; length++)
        for (const char *end : {"\n", "\"\n", "\"", " \n", "\"  \n", " \"b\"\n"}) {
            std::string quote = strchr(end, '"') ? "\"" : "";
            expect_what_the_library_does(
                headers + "config a\nset x "s + quote + std::string(length, 'y') + end + "end\n", tally);
            expect_what_the_library_does(
                headers + "config a\nset x \"z\n"s + std::string(length, 'y') + end + "\"\nend\n", tally);
        }
    EXPECT_GT(tally.sound, 50u);
    EXPECT_GT(tally.damaged, 50u);
}

TEST_F(RoundTrip, OfValuesAtTheLimit)
{
    Tally       tally;
    std::string ahead = "y\n \n" + times(127, std::string(32767, 'y') + "\n");
    auto        around = static_cast<size_t>(rounds(8, 1));
    for (size_t length = 0x400000 - around; length < 0x400000 + around; length++)
        expect_what_the_library_does(headers + "config a\nset x \""s + ahead +
                                         std::string(length - ahead.size() - 2, 'z') + "\nz\"\nend\n",
                                     tally);
    EXPECT_EQ(tally.sound, around);
    EXPECT_EQ(tally.damaged, around);
}

} // namespace
