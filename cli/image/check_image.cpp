/* One function per file of an image; each tells all that it finds and none relies on another. */
#include "image/check_image.h"

#include "driver/run_context.h"
#include "image/lint.h"
#include "image/lint_file.h"
#include "language/damage.h"
#include "language/lines.h"
#include "tree/split.h"

#include <algorithm>
#include <set>

namespace command {

namespace {

constexpr char update_file[] = "update_config";
constexpr char syntax_file[] = "syntax_v510.txt";
constexpr char predefined_file[] = "system.conf.predefine";
constexpr char database_file[] = "signature.db";

using Faults = std::vector<ImageFault>;

/* The first section of a release that the library does not know; null without. */
const LintSection *section_beyond_library(const LintFile &file)
{
    auto at = std::find_if(file.sections.begin(), file.sections.end(),
                           [](const LintSection &section) { return section.version > MIGR_RELEASE_IMAGE; });
    return at == file.sections.end() ? nullptr : &*at;
}

void check_update_file(std::string_view text, int32_t lowest_release, Faults &faults)
{
    for (const Finding &finding : lint_update_file(text, MIGR_RELEASE_IMAGE))
        if (finding.severity == Severity::error && (finding.missing_step < 0 || finding.missing_step > lowest_release))
            faults.push_back({update_file, finding.line, finding.text});
}

/* The blocks that survive the split of an old file. */
class SyntaxFile {
  public:
    SyntaxFile(std::string_view text, Faults &faults) : faults_(faults)
    {
        ConfigLines lines(text);
        for (ConfigLine line; lines.next(line);)
            take(line);
        if (names_.empty())
            tell(0, "names no block, so nothing would survive the split of an old file.");
    }

    bool has(const std::string &name) const
    {
        return names_.contains(name);
    }

  private:
    void take(const ConfigLine &line)
    {
        ConfigKeyword scope = keyword_of_line(line.text);
        ConfigKeyword type = keyword_of_line(scope.rest);
        ConfigName    path = config_name(type.rest);
        if (line.has_nul || line.is_cut)
            return tell(line.number, "holds a NUL or is too long, and is not read whole.");
        if (scope.word.empty() || scope.word[0] == '#')
            return;
        bool is_scope = is_word(scope.word, "global") || is_word(scope.word, "both") || is_word(scope.word, "domain");
        bool is_type = is_word(type.word, "table") || is_word(type.word, "complex");
        if (!is_scope || !is_type || path.whole.empty())
            return tell(line.number, "is dropped, as it is no scope, type and path. Write it like: DOMAIN TABLE "
                                     "\"waf signature\".");
        if (path.is_cut() || path.is_open)
            return tell(line.number, "has a path that is cut or whose quote is never closed.");
        add(line.number, !is_word(scope.word, "domain"), join_words(path.kept, ','));
    }

    void add(size_t line, bool is_global, std::string name)
    {
        if (name.size() >= 2 && name.front() == '"' && name.back() == '"')
            name = name.substr(1, name.size() - 2);
        size_t &count = is_global ? global_count_ : domain_count_;
        if (++count > MIGR_PATH_NAMES)
            return tell(line, "is dropped, as a scope has at most " + std::to_string(MIGR_PATH_NAMES) + " paths.");
        names_.insert(std::move(name));
    }

    void tell(size_t line, std::string text)
    {
        faults_.push_back({syntax_file, line, std::move(text)});
    }

    Faults               &faults_;
    std::set<std::string> names_;
    size_t                global_count_ = 0;
    size_t                domain_count_ = 0;
};

/* What an old file gets from here at 4.30 must be left when it is split at 5.10. */
void check_predefined(std::string_view text, const SyntaxFile *split, Faults &faults)
{
    if (text.empty())
        faults.push_back({predefined_file, 0, "is empty: no appliance would get what its new releases bring."});
    std::vector<TopLevelConfig> configs;
    DamageReport                report = damage_of(text, HeaderLines::none, &configs);
    for (const Damage &damage : report.found)
        faults.push_back({predefined_file, damage.line, damage.text});
    if (!report.is_sound() || !split)
        return;
    for (const TopLevelConfig &config : configs)
        if (!split->has(config.name))
            faults.push_back({syntax_file, 0,
                              "does not name the block \"" + config.name + "\" of " + predefined_file + ", line " +
                                  std::to_string(config.line) + ", which would not survive the split of an old file."});
}

} // namespace

std::string shown(const ImageFault &fault)
{
    std::string line = fault.line > 0 ? ":" + std::to_string(fault.line) : "";
    return fault.file + line + ": " + fault.text;
}

std::vector<ImageFault> faults_of_image(const ImageTexts &image, int32_t lowest_release, DatabaseCheck check)
{
    std::vector<Finding> told_below;
    LintFile             sections = read_update_file(image.update_file, &told_below);
    if (const LintSection *beyond = section_beyond_library(sections))
        return {{update_file, beyond->line,
                 "this image is for " + section_name(beyond->version) + ", this migr knows up to " +
                     section_name(MIGR_RELEASE_IMAGE) + ". Take the migr that comes with the image."}};
    Faults faults;
    check_update_file(image.update_file, lowest_release, faults);
    SyntaxFile split(image.syntax_file, faults);
    check_predefined(image.predefined, lowest_release < MIGR_RELEASE(5, 10) ? &split : nullptr, faults);
    std::string database = why_no_database(image.database, check);
    if (!database.empty())
        faults.push_back({database_file, 0, database});
    return faults;
}

} // namespace command
