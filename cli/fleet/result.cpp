/* Counting and writing down. Whoever reads a line back believes nothing of it but its form. */
#include "fleet/result.h"

#include "output/json.h"
#include "report/account_report.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

namespace command {

namespace {

constexpr const char *end_names[] = {"upgraded", "current", "refused", "failed"};

void count_finding(const FileFinding &finding, bool is_reason, const std::string &file, EntryResult &result)
{
    auto same = std::find_if(result.findings.begin(), result.findings.end(), [&](const CountedFinding &one) {
        return one.is_reason == is_reason && one.cause == finding.cause;
    });
    if (same == result.findings.end())
        same = result.findings.insert(same, {is_reason, finding.cause, 0, file, finding.text});
    same->count++;
}

Json finding_json(const CountedFinding &finding)
{
    return Json::Members{{"reason", finding.is_reason},
                         {"cause", finding.cause},
                         {"count", finding.count},
                         {"file", Json::text_or_null(finding.file)},
                         {"text", finding.text}};
}

std::string text_at(const nlohmann::json &object, const char *name)
{
    const nlohmann::json &value = object.at(name);
    return value.is_null() ? "" : value.get<std::string>();
}

[[noreturn]] void no_line(const std::string &why)
{
    throw Failure(Status::unusable, "This is no line of results: " + why + ".");
}

/* The JSON library takes what is less than none, or more than fits, for some count. */
uint64_t count_at(const nlohmann::json &object, const char *name)
{
    const nlohmann::json &value = object.at(name);
    if (!value.is_number_unsigned())
        no_line("its \"" + std::string(name) + "\" is no whole number from 0 on");
    return value;
}

EntryEnd end_named(const std::string &name)
{
    auto at = std::find(std::begin(end_names), std::end(end_names), name);
    if (at == std::end(end_names))
        throw Failure(Status::unusable, "There is no result \"" + name + "\".");
    return static_cast<EntryEnd>(at - std::begin(end_names));
}

EntryResult result_of(const nlohmann::json &object)
{
    EntryResult result;
    result.entry = text_at(object, "entry");
    result.form = text_at(object, "form");
    result.identity = {text_at(object, "input"), text_at(object, "image"), text_at(object, "version"),
                       text_at(object, "options")};
    result.end = end_named(text_at(object, "result"));
    result.output = text_at(object, "output");
    result.seconds = object.at("seconds");
    result.host = text_at(object, "host");
    result.lines = count_at(object, "lines");
    result.rewritten = count_at(object, "rewritten");
    result.dropped = count_at(object, "dropped");
    result.added = count_at(object, "added");
    for (const nlohmann::json &one : object.at("findings"))
        result.findings.push_back({one.at("reason"), text_at(one, "cause"), count_at(one, "count"),
                                   text_at(one, "file"), text_at(one, "text")});
    for (const nlohmann::json &one : object.at("causes"))
        result.causes.push_back({text_at(one, "cause"), text_at(one, "kind"), count_at(one, "lines")});
    return result;
}

} // namespace

static bool is_of_what_lies_there(int error)
{
    static constexpr int errors[] = {0, ENOENT, ENOTDIR, EISDIR, ELOOP, ENAMETOOLONG, EINVAL};
    return std::ranges::find(errors, error) != std::end(errors);
}

EntryEnd end_of(const Failure &failure)
{
    bool is_its_own = failure.status != Status::failed && is_of_what_lies_there(failure.error);
    return is_its_own ? EntryEnd::refused : EntryEnd::failed;
}

EntryEnd end_of(const std::vector<FileOutcome> &files)
{
    bool upgraded = false, refused = false;
    for (const FileOutcome &file : files) {
        if (!is_of_what_lies_there(file.error))
            return EntryEnd::failed;
        upgraded |= file.result == Result::upgraded;
        refused |= file.result == Result::refused;
    }
    if (upgraded)
        return EntryEnd::upgraded;
    return refused ? EntryEnd::refused : EntryEnd::current;
}

const char *name_of(EntryEnd end)
{
    return end_names[static_cast<size_t>(end)];
}

void take_findings(const std::vector<FileOutcome> &files, EntryResult &result)
{
    for (const FileOutcome &file : files) {
        if (!file.reasons.empty()) /* damage breeds damage: what follows mostly comes of the first */
            count_finding(file.reasons.front(), true, file.name, result);
        for (const FileFinding &warning : file.warnings)
            count_finding(warning, false, file.name, result);
        if (file.result == Result::newer)
            count_finding({"It is newer than the image, and stays as it is."}, false, file.name, result);
    }
}

void take_reason(const FileFinding &reason, EntryResult &result)
{
    count_finding(reason, true, "", result);
}

void take_counts(const Account &account, const Causes &causes, EntryResult &result)
{
    std::map<uint32_t, uint64_t> lines; /* by author */
    for (const AccountFile &file : account.files) {
        result.lines += file.in.lines;
        result.rewritten += file.in.rewritten;
        result.dropped += file.in.dropped;
        result.added += file.out.added;
        for (const AccountEntry &entry : file.entries)
            if (entry.fate == LineFate::dropped && !entry.causes.empty())
                lines[entry.causes.back()] += entry.in.last - entry.in.first + 1;
    }
    for (const auto &[author, count] : lines) {
        const Author &one = account.authors.at(author);
        result.causes.push_back({shown(one), causes.of(one.mechanism, one.name, one.line).kind, count});
    }
}

std::string line_of(const EntryResult &result)
{
    Json::List findings, causes;
    for (const CountedFinding &one : result.findings)
        findings.push_back(finding_json(one));
    for (const CountedCause &one : result.causes)
        causes.push_back(Json::Members{{"cause", one.cause}, {"kind", one.kind}, {"lines", one.lines}});
    return Json(Json::Members{{"entry", result.entry},
                              {"form", result.form},
                              {"input", result.identity.input},
                              {"image", result.identity.image},
                              {"version", result.identity.version},
                              {"options", result.identity.options},
                              {"result", name_of(result.end)},
                              {"output", Json::text_or_null(result.output)},
                              {"seconds", result.seconds},
                              {"host", result.host},
                              {"lines", result.lines},
                              {"rewritten", result.rewritten},
                              {"dropped", result.dropped},
                              {"added", result.added},
                              {"findings", std::move(findings)},
                              {"causes", std::move(causes)}})
        .one_line();
}

EntryResult result_from(std::string_view line)
{
    try {
        return result_of(nlohmann::json::parse(line));
    } catch (const nlohmann::json::exception &error) {
        no_line(error.what());
    }
}

} // namespace command
