/* Whose fault it is that an appliance of a fleet was not upgraded, on which it hangs whether --resume tries it again;
 * what is counted of it, and the line that its result becomes. */
#include "fleet/result.h"

#include "appliance/root.h"
#include "support/json_value.h"
#include "unit/cli/command_support.h"
#include "unit/cli/report/made_up_account.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>

using namespace command;

using Strings = std::vector<const char *>;

namespace {

/* What an appliance comes to of which that work, done inside of it, fails. */
EntryEnd end_of_work(const std::function<std::string()> &work)
{
    support::TinyAppliance box;
    try {
        Root(box.root()).run(work);
    } catch (const Failure &failure) {
        return end_of(failure);
    }
    return EntryEnd::upgraded;
}

} // namespace

TEST(EndOfAnEntry, IsAFailureWhereTheSystemFailed)
{
    for (int error : {EIO, ENOSPC, EDQUOT, ENOMEM, EMFILE, EACCES, EINTR})
        EXPECT_EQ(end_of_work([=]() -> std::string {
                      throw PathError{"read", "/data", error};
                  }),
                  EntryEnd::failed)
            << error;
    EXPECT_EQ(end_of_work([]() -> std::string { throw std::bad_alloc(); }), EntryEnd::failed);
    EXPECT_EQ(end_of_work([]() -> std::string { _exit(raise(SIGKILL)); }), EntryEnd::failed);
    EXPECT_EQ(end_of({Status::failed, "The run failed."}), EntryEnd::failed);
}

TEST(EndOfAnEntry, IsARefusalWhereItsOwnFilesAreWrong)
{
    for (int error : {0, ENOENT, ENOTDIR, EISDIR, ELOOP})
        EXPECT_EQ(end_of_work([=]() -> std::string {
                      throw PathError{"read", "/data", error};
                  }),
                  EntryEnd::refused)
            << error;
    EXPECT_EQ(end_of_work([]() -> std::string { throw Failure(Status::unusable, "It is damaged."); }),
              EntryEnd::refused);
}

TEST(EndOfAnEntry, IsWhatItsFilesComeTo)
{
    auto end = [](std::vector<Result> results, int error) {
        std::vector<FileOutcome> files;
        for (Result result : results)
            files.emplace_back().result = result;
        files.back().error = error;
        return end_of(files);
    };
    EXPECT_EQ(end({Result::current, Result::newer}, 0), EntryEnd::current);
    EXPECT_EQ(end({Result::refused, Result::held}, 0), EntryEnd::refused);
    EXPECT_EQ(end({Result::refused, Result::upgraded}, 0), EntryEnd::upgraded);
    for (int error : {EIO, ENOMEM, EMFILE, EACCES, EINTR})
        EXPECT_EQ(end({Result::upgraded, Result::refused}, error), EntryEnd::failed) << error;
    for (int error : {EISDIR, EINVAL, ELOOP})
        EXPECT_EQ(end({Result::held, Result::refused}, error), EntryEnd::refused) << error;
}

namespace {

FileOutcome outcome_of(const char *name, Result result, Strings reasons, Strings warnings)
{
    FileOutcome outcome;
    outcome.name = name;
    outcome.result = result;
    for (const char *reason : reasons)
        outcome.reasons.push_back({std::string(name) + " " + reason, reason});
    for (const char *warning : warnings)
        outcome.warnings.push_back({std::string(name) + " " + warning, warning});
    return outcome;
}

std::string findings_of(const EntryResult &result)
{
    std::string text;
    for (const CountedFinding &one : result.findings)
        text += std::to_string(one.count) + (one.is_reason ? " reason " : " warning ") + one.cause + " | " + one.file +
                " | " + one.text + "\n";
    return text;
}

EntryResult full_result()
{
    EntryResult result;
    result.entry = "desk";
    result.form = "archive";
    result.identity = {"input", "image", "version", "options"};
    result.end = EntryEnd::refused;
    result.output = "appliances/desk";
    result.seconds = 1.5;
    result.host = "here";
    result.lines = 11, result.rewritten = 12, result.dropped = 13, result.added = 14;
    result.findings = {{true, "damage", 15, "sys_global.conf.gz", "damage in line 3"},
                       {false, "a key", 16, "", "a key x"}};
    result.causes = {{"6.00 stage _x", "network", 17}, {"6.10 stage _y", "logging", 18}};
    return result;
}

} // namespace

TEST(FindingsOfAnEntry, AreCountedByTheirCauses)
{
    EntryResult result;
    take_findings({outcome_of("a", Result::refused, {"damage", "more damage"}, {}),
                   outcome_of("b", Result::refused, {"damage"}, {"key", "key", "damage"}),
                   outcome_of("c", Result::newer, {}, {}), outcome_of("d", Result::current, {}, {})},
                  result);
    take_reason({"no global file"}, result);
    EXPECT_EQ(findings_of(result),
              "2 reason damage | a | a damage\n"
              "2 warning key | b | b key\n"
              "1 warning damage | b | b damage\n"
              "1 warning It is newer than the image, and stays as it is. | c | It is newer than the "
              "image, and stays as it is.\n"
              "1 reason no global file |  | no global file\n");
}

/* The last of its causes is who dropped a line. */
TEST(CountsOfAnEntry, AreThoseOfAllFilesAndOfWhoDroppedLines)
{
    Account account = support::made_up_account();
    account.files[0].entries[4].causes = {support::by_logging, support::by_stage};
    EntryResult result;
    take_counts(account, Causes(support::made_up_update_file), result);
    EXPECT_EQ(result.lines, 41U + 61);
    EXPECT_EQ(result.rewritten, 44U + 64);
    EXPECT_EQ(result.dropped, 45U + 65);
    EXPECT_EQ(result.added, 55U + 75);
    std::string text;
    for (const CountedCause &one : result.causes)
        text += std::to_string(one.lines) + " " + one.kind + " " + one.cause + "\n";
    EXPECT_EQ(text, "3 housekeeping 5.91 stage _made_up\n"
                    "1 logging 6.00 delete line 6 of the update file, <lab>,<lamp>\n"
                    "1 housekeeping 6.21 write\n"
                    "2 housekeeping 6.21 signatures migr_hardcode\n");
}

/* It is read by whoever keeps fleets, and by later versions. */
TEST(LineOfAnEntry, HasAllOfItAndComesBack)
{
    std::string line = line_of(full_result());
    EXPECT_EQ(support::JsonValue::parse(line), support::JsonValue::parse(R"({"entry": "desk", "form": "archive",
        "input": "input", "image": "image", "version": "version", "options": "options", "result": "refused",
        "output": "appliances/desk", "seconds": 1.5, "host": "here", "lines": 11, "rewritten": 12, "dropped": 13,
        "added": 14,
        "findings": [{"reason": true, "cause": "damage", "count": 15, "file": "sys_global.conf.gz",
                      "text": "damage in line 3"},
                     {"reason": false, "cause": "a key", "count": 16, "file": null, "text": "a key x"}],
        "causes": [{"cause": "6.00 stage _x", "kind": "network", "lines": 17},
                   {"cause": "6.10 stage _y", "kind": "logging", "lines": 18}]})"));
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(line_of(result_from(line)), line);
    EXPECT_EQ(result_from(line).identity, full_result().identity);
}

TEST(LineOfAnEntry, HasAWordForEachEnd)
{
    for (auto [end, word] : {std::pair(EntryEnd::upgraded, "upgraded"),
                             {EntryEnd::current, "current"},
                             {EntryEnd::refused, "refused"},
                             {EntryEnd::failed, "failed"}}) {
        EntryResult result = full_result();
        result.end = end;
        result.output = "";
        EXPECT_STREQ(name_of(end), word);
        EXPECT_EQ(support::JsonValue::parse(line_of(result))["result"], word);
        EXPECT_EQ(result_from(line_of(result)).end, end);
        EXPECT_EQ(result_from(line_of(result)).output, "");
    }
}

TEST(LineOfAnEntry, IsNothingElse)
{
    auto fault_of = [](const std::string &line) {
        try {
            result_from(line);
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::unusable);
            return std::string(failure.what());
        }
        return std::string("none");
    };
    EXPECT_TRUE(fault_of("{").starts_with("This is no line of results: "));
    support::JsonValue line = support::JsonValue::parse(line_of(full_result()));
    for (const std::string &name : line.names()) {
        support::JsonValue without = line;
        without.erase(name);
        EXPECT_TRUE(fault_of(without.dump()).starts_with("This is no line of results: ")) << name;
    }
    support::JsonValue odd = line;
    odd["result"] = "odd";
    EXPECT_EQ(fault_of(odd.dump()), "There is no result \"odd\".");
    for (const char *count : {"/lines", "/rewritten", "/dropped", "/added", "/findings/1/count", "/causes/1/lines"})
        for (const char *number : {"1.5", "2.0", "8e70", "-3", "18446744073709551616", "\"3\"", "true", "null"}) {
            odd = line;
            odd.at_path(count) = support::JsonValue::parse(number);
            std::string name = std::string(count).substr(std::string(count).rfind('/') + 1);
            EXPECT_EQ(fault_of(odd.dump()),
                      "This is no line of results: its \"" + name + "\" is no whole number from 0 on.")
                << count << " " << number;
        }
    line["seconds"] = 3;
    EXPECT_EQ(fault_of(line.dump()), "none");
}
