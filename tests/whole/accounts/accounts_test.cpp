/*
 * Accounts of all sample appliances, held against the texts: each line of the old files and of the results stands in
 * exactly one entry or is layout, the sums are right, what is kept is the same on both sides, and nothing that changed
 * is without a cause.
 */
#include "support/appliance_root.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;
using nlohmann::json;
using namespace support;

namespace {

struct Ran {
    int         status;
    std::string out;
};

/* Paths are the tests' own, without blanks or quotes. */
Ran run(const std::string &line)
{
    FILE                   *pipe = popen((line + " 2>/dev/null").c_str(), "r");
    std::array<char, 65536> part;
    Ran                     ran = {-1, ""};
    for (size_t got; pipe && (got = fread(part.data(), 1, part.size(), pipe)) > 0;)
        ran.out.append(part.data(), got);
    ran.status = pipe ? WEXITSTATUS(pclose(pipe)) : -1;
    return ran;
}

std::string migr(const std::string &arguments)
{
    return program_path("/migr") + " " + arguments;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines = {""}; /* they count from 1 */
    std::istringstream       stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string without_indent(const std::string &line)
{
    size_t start = line.find_first_not_of(" \t");
    return start == line.npos ? "" : line.substr(start);
}

bool is_layout(const std::string &line)
{
    std::string text = without_indent(line);
    return text.empty() || text[0] == '#' || text.starts_with("end") || text.starts_with("next");
}

std::string content_of(const fs::path &path)
{
    std::ifstream      file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

using Texts = std::map<std::string, std::vector<std::string>>;

Texts texts_in(const fs::path &root)
{
    Texts texts;
    for (const fs::directory_entry &entry : fs::directory_iterator(root / "data/config"))
        texts[entry.path().filename()] = lines_of(gunzip(content_of(entry.path())));
    return texts;
}

class Accounted : public testing::TestWithParam<std::string> {
  protected:
    Accounted()
    {
        root = (folder.path() / "box").string();
        EXPECT_EQ(run(source_path("/samples/lay_out ") + GetParam() + " " + root).status, 0);
    }
    ApplianceRoot folder;
    std::string   root;
};

std::vector<std::string> all_samples()
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(source_path("/samples")))
        if (fs::exists(entry.path() / "data/config"))
            names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

/* Each of those lines is in no other entry. */
void take(std::vector<int> &taken, const json &span)
{
    for (size_t line = span.at(0); line <= span.at(1).get<size_t>(); line++)
        EXPECT_EQ(taken.at(line)++, 0) << "line " << line << " stands in two entries";
}

void expect_kept_text(const json &entry, const std::vector<std::string> &before, const std::vector<std::string> &after)
{
    size_t in = entry["in"][0], out = entry["out"][0], count = entry["in"][1].get<size_t>() - in + 1;
    ASSERT_EQ(entry["out"][1].get<size_t>() - out + 1, count);
    EXPECT_EQ(without_indent(before.at(in)), without_indent(after.at(out)));
    for (size_t line = 1; line < count; line++)
        EXPECT_EQ(before.at(in + line), after.at(out + line));
}

uint64_t sum(const json &counts, std::initializer_list<const char *> names)
{
    uint64_t all = 0;
    for (const char *name : names)
        all += counts.at(name).get<uint64_t>();
    return all;
}

void expect_sums(const json &file)
{
    EXPECT_EQ(file["in"]["lines"], sum(file["in"], {"kept", "moved", "rewritten", "dropped", "layout", "unread"}));
    EXPECT_EQ(file["out"]["lines"], sum(file["out"], {"kept", "moved", "rewritten", "added", "layout"}));
    EXPECT_EQ(file["unexplained"], 0);
    EXPECT_EQ(file["in"]["unread"], 0);
}

void expect_causes(const json &entry)
{
    EXPECT_EQ(entry["causes"].empty(), entry["fate"] == "kept") << entry;
    for (const json &cause : entry["causes"])
        EXPECT_NE(cause["mechanism"], "") << entry;
}

} // namespace

TEST_P(Accounted, EachLineStandsInOneEntry)
{
    Ran   told = run(migr("account --json --all " + root));
    json  answer = json::parse(told.out);
    Texts before = texts_in(root);
    EXPECT_EQ(run(migr("upgrade " + root)).status, 0);
    Texts                                   after = texts_in(root);
    std::map<std::string, std::vector<int>> taken_before, taken_after;
    for (auto &[name, lines] : before)
        taken_before[name].resize(lines.size());
    for (auto &[name, lines] : after)
        taken_after[name].resize(lines.size());
    for (const json &file : answer["files"]) {
        SCOPED_TRACE(file["file"]);
        expect_sums(file);
        std::string name = file["file"];
        EXPECT_EQ(file["out"]["lines"], after.at(name).size() - 1);
        for (const json &entry : file["entries"]) {
            std::string out_file = entry["out_file"].is_null() ? name : entry["out_file"].get<std::string>();
            if (!entry["in"].is_null())
                take(taken_before[name], entry["in"]);
            if (!entry["out"].is_null())
                take(taken_after[out_file], entry["out"]);
            expect_causes(entry);
            if (entry["fate"] == "kept" || entry["fate"] == "moved")
                expect_kept_text(entry, before[name], after[out_file]);
        }
    }
    for (auto &[name, lines] : before)
        for (size_t line = 1; line < lines.size(); line++)
            EXPECT_TRUE(taken_before[name][line] || is_layout(lines[line])) << name << " " << line << lines[line];
    for (auto &[name, lines] : after)
        for (size_t line = 1; line < lines.size(); line++)
            EXPECT_TRUE(taken_after[name][line] || is_layout(lines[line])) << name << " " << line << lines[line];
}

/* What is kept with the snapshot says the same, and the result of blame is the result. */
TEST_P(Accounted, TheSameIsToldAfterwards)
{
    json ahead = json::parse(run(migr("account --json --dropped " + root)).out);
    json blamed = json::parse(run(migr("blame --json --show-secrets " + root)).out);
    EXPECT_EQ(run(migr("upgrade " + root)).status, 0);
    json behind = json::parse(run(migr("account --json --dropped --last " + root)).out);
    EXPECT_EQ(behind["files"], ahead["files"]);
    Texts after = texts_in(root);
    for (const json &file : blamed["files"])
        EXPECT_EQ(file["lines"].size(), after.at(file["file"]).size() - 1);
}

INSTANTIATE_TEST_SUITE_P(Samples, Accounted, testing::ValuesIn(all_samples()), [](const auto &one) {
    std::string name = one.param;
    for (char &c : name)
        c = isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});
