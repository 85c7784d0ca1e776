/* A document is handled by lines: what is put in, taken out or moved is a line or a block of lines. */
#include "fuzz/generator.h"

#include "driver/run_context.h"
#include "fuzz/vocabulary.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace fuzzing {

namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const std::string &text)
{
    Lines lines;
    for (size_t at = 0; at < text.size();) {
        size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

std::string joined(const Lines &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line;
    return text;
}

std::string_view without_indent(std::string_view line)
{
    size_t start = line.find_first_not_of(" \t");
    return start == std::string_view::npos ? "" : line.substr(start);
}

/* Behind the last line of what begins at `first`: its closing line, or the line itself. */
size_t end_of(const Lines &lines, size_t first)
{
    size_t open = 0;
    for (size_t at = first; at < lines.size(); at++) {
        std::string_view line = without_indent(lines[at]);
        if (line.starts_with("== ") || line.starts_with("-- "))
            return at == first ? at + 1 : at;
        if (line.starts_with("config ") || line.starts_with("edit "))
            open++;
        if (open > 0 && (line.starts_with("end") || line.starts_with("next")))
            open--;
        if (open == 0)
            return at + 1;
    }
    return lines.size();
}

std::string release_text(int32_t code)
{
    return std::to_string(code >> 16) + "." + std::to_string(code & 0xffff);
}

std::string with_blanks(std::string name)
{
    std::replace(name.begin(), name.end(), ',', ' ');
    return name;
}

} // namespace

size_t Generator::draw(size_t below)
{
    return below == 0 ? 0 : random_() % below;
}

bool Generator::one_in(size_t chance)
{
    return draw(chance) == 0;
}

/* A near miss: one letter more, less or other, another case, a prefix, something behind or ahead. */
std::string Generator::changed(std::string word)
{
    size_t at = draw(word.size());
    switch (draw(8)) {
    case 0:
        return word.insert(at, 1, word.empty() ? 'x' : word[at]);
    case 1:
        return word.erase(std::min(at, word.size()), 1);
    case 2:
        if (!word.empty())
            word[at] = static_cast<char>('a' + draw(26));
        return word;
    case 3:
        if (!word.empty())
            word[at] = static_cast<char>(word[at] ^ 0x20);
        return word;
    case 4:
        return word.substr(0, at);
    case 5:
        return word + (one_in(2) ? "s" : "-x");
    case 6:
        return "x" + word;
    default:
        return "\"" + word + "\"";
    }
}

/* Mostly one of the subject's. */
std::string Generator::word()
{
    const std::vector<std::string> &own = subject_->words, &all = all_texts();
    std::string                     word = one_in(6) ? all[draw(all.size())] : own[draw(own.size())];
    return one_in(12) ? changed(word) : word;
}

std::string Generator::name()
{
    static constexpr const char *names[] = {"1", "2", "3", "a", "\"b\"", "100001", "port1", "\"a b\"", "root"};
    std::string                  name = one_in(2) ? word() : names[draw(std::size(names))];
    if (one_in(40))
        name = std::string(lengths()[draw(lengths().size())] + draw(3) - 1, 'n');
    return one_in(4) && !name.starts_with('"') ? "\"" + name + "\"" : name;
}

std::string Generator::value()
{
    const std::vector<std::string> &known = known_values();
    if (one_in(3))
        return known[draw(known.size())];
    if (one_in(20))
        return std::to_string(static_cast<long>(draw(300)) * (one_in(3) ? 1000 : 1) - 1);
    std::string text = word();
    for (size_t more = draw(4); more > 0; more--)
        text += (one_in(4) ? "," : " ") + word();
    if (one_in(25))
        text = std::string(lengths()[draw(lengths().size())] + draw(3) - 1, 'v');
    return one_in(3) ? "\"" + text + "\"" : text;
}

std::string Generator::top_name()
{
    std::string name = subject_->configs[draw(subject_->configs.size())];
    if (one_in(20))
        name += one_in(2) ? "x" : ",x";
    if (one_in(30))
        name = changed(name);
    return with_blanks(name);
}

std::string Generator::sets(size_t most)
{
    std::string text;
    for (size_t left = draw(most + 1); left > 0; left--)
        text += "set " + (one_in(12) ? name() : word()) + " " + value() + "\n";
    return text;
}

std::string Generator::nested(size_t depth)
{
    std::string text = "config " + word() + "\n";
    for (size_t left = draw(4); left > 0; left--)
        text += "edit " + name() + "\n" + sets(5) + (depth > 0 && one_in(4) ? nested(depth - 1) : "") + "next\n";
    return text + sets(3) + "end\n";
}

std::string Generator::entry()
{
    std::string text = "edit " + name() + "\n" + sets(7);
    for (size_t left = draw(3); left > 0; left--)
        text += nested(2);
    return text + "next\n";
}

std::string Generator::block()
{
    std::string text = "config " + top_name() + "\n" + sets(6);
    for (size_t left = draw(4); left > 0; left--)
        text += entry();
    return text + (one_in(10) ? nested(1) : "") + "end\n";
}

std::string Generator::rule()
{
    std::string path = "<" + top_name() + ">";
    for (size_t left = draw(3); left > 0; left--)
        path += "<" + word() + ">";
    static constexpr const char *properties[] = {",[char:3]",  ",[char:63]", ",[char:-1]", ",[int:0,100]",
                                                 ",[int:9,1]", ",[int:]",    "",           ",[enum:"};
    switch (draw(4)) {
    case 0:
        return path + "\n";
    case 1:
        return "[" + release() + "]\n";
    case 2:
        return one_in(3) ? "[DELETE]\n" : one_in(2) ? "[MODIFY]\n" : "[READD]\n";
    default:
        path += ",<" + word() + ">";
        if (one_in(3))
            path += ",<" + release() + ">";
        std::string property = properties[draw(std::size(properties))];
        if (property == ",[enum:")
            property += "<" + word() + "," + word() + ">,<" + word() + "," + (one_in(2) ? "" : word()) + ">]";
        return path + property + "\n";
    }
}

std::string Generator::rules()
{
    std::string text = "== file /data/etc/update_config\n";
    for (int32_t release : releases())
        if (!one_in(8))
            text += "[" + release_text(release) + "]\n" + (one_in(3) ? rule() + rule() + rule() : "");
    return text;
}

std::string Generator::row_of_database()
{
    static constexpr const char *tables[] = {
        "create table class_map(main_class_id text, sub_class_id text, discard integer);\n",
        "create table signature_rule(signature_id text, FP_mitigation integer, score integer);\n",
        "create table global_white_list(name text);\n",
        "create table replacement_page(name text, code integer, text text);\n",
        "create table platform_limit(name text, value integer);\n"};
    std::string number = std::to_string(draw(13)) + "0000000", small = std::to_string(draw(3));
    switch (draw(6)) {
    case 0:
        return tables[draw(std::size(tables))];
    case 1:
        return "insert into class_map values('" + number + "','" + number + "'," + small + ");\n";
    case 2:
        return "insert into signature_rule values('" + number + "'," + small + "," + (one_in(2) ? "8341" : small) +
               ");\n";
    case 3:
        return "insert into global_white_list values('" + word().substr(0, 12) + "');\n";
    case 4:
        return "insert into replacement_page values('" + word() + "'," + std::to_string(400 + draw(200)) +
               ",'a page');\n";
    default:
        return "insert into platform_limit values('max_policy_session'," + number + ");\n";
    }
}

/* What conversions look for beside the configuration. */
std::string Generator::file()
{
    static constexpr const char *folders[] = {"/data/etc/cert/local/root/", "/data/etc/cert/ca/root/",
                                              "/data/etc/cert/crl/root/",   "/data/etc/globalcert/local/root/",
                                              "/data/etc/cert/inter/root/", "/data/etc/cert/",
                                              "/data/etc/cert/xml_client/", "/data/etc/ws_security/",
                                              "/etc/cert/mesh_connector/",  "/var/log/"};
    static constexpr const char *endings[] = {".key", ".cer", ".csr", ".crl", ".password", "", ".conf", "/x"};
    static constexpr const char *known[] = {
        "/data/etc/vir.orig",        "/data/lib/libav.so.orig",  "/var/log/wvs/db/x",
        "/var/log/geo_db/x",         "/data/etc/wvs/old",        "/var/log/vir",
        "/var/log/autolearn_adom/x", "/data/etc/cert/cert.conf", "/data/etc/key.secret",
        "/etc/cert/local/a.key",     "/etc/syntax_v510.txt",     "/data/etc/system.conf.predefine"};
    std::string path =
        one_in(2) ? known[draw(std::size(known))]
                  : folders[draw(std::size(folders))] + word().substr(0, 60) + endings[draw(std::size(endings))];
    if (path.find(' ') != std::string::npos)
        path = known[0];
    if (one_in(10))
        return "== folder " + path + "\n";
    if (one_in(15))
        return "== link " + path + " " + known[draw(std::size(known))] + "\n";
    return "== file " + path + "\n" + (one_in(3) ? block() : value() + "\n");
}

std::string Generator::release()
{
    const std::vector<int32_t> &all = releases();
    int32_t                     code = all[draw(all.size())];
    return release_text(one_in(2) ? code : code - 1 + static_cast<int32_t>(draw(3)));
}

std::string Generator::head_line()
{
    switch (draw(8)) {
    case 0:
        return "== run walk\n";
    case 1:
        return "== run adjust\n";
    case 2:
        return one_in(2) ? "== run rules\n" : "== run reconcile\n";
    case 3:
        return "== run parse\n";
    default:
        break;
    }
    static constexpr const char *of_kind[] = {"stage ", "step ", "rules "};
    std::string                  what = of_kind[static_cast<size_t>(subject_->kind)];
    if (subject_->kind == Subject::Kind::row && one_in(3))
        return "== run row " + subject_->code + "\n";
    return "== run " + what + release_text(subject_->release) + "\n";
}

std::string Generator::pass_line()
{
    static constexpr const char *modes[] = {"global", "domain", "global", "domain", "ml"};
    static constexpr const char *models[] = {"QA-A1X", "Q1E", "Q2E", "QB01A", "QA-CLOUD", "QQWS1", "QA-V2"};
    std::string                  line = std::string("== pass ") + modes[draw(std::size(modes))] + " ";
    line += one_in(2) ? release() : release_text(subject_->release - 1);
    if (one_in(4))
        line += std::string(" model=") + models[draw(std::size(models))];
    if (one_in(6))
        line += one_in(2) ? " domain=shop" : " domain=" + std::string(127, 'd');
    if (one_in(8))
        line += " deleted=" + std::to_string(1 + draw(9));
    if (one_in(8))
        line += " hidden=" + std::to_string(1 + draw(9));
    return line + "\n-- before\n";
}

/* A stored file with its header lines, some of which are none. */
std::string Generator::configuration_file()
{
    static constexpr const char *names[] = {"sys_global.conf.gz", "sys_domain.root.conf.gz", "sys_domain.shop.conf.gz",
                                            "sys_domain.b.conf.gz", "other.conf.gz"};
    static constexpr const char *models[] = {"QA-A1X", "QB01A", "QA-CLOUD", "QA-V2"};
    std::string                  text = std::string("== file /data/config/") + names[draw(std::size(names))] + "\n";
    text += std::string("#config-version=") + models[draw(std::size(models))] + "-" +
            (one_in(3) ? release() : release_text(subject_->release - 1)) +
            "-CV-build0727-190101:opmode=0:vdom=1\n#conf_file_ver=1\n";
    for (size_t left = draw(5); left > 0; left--)
        text += block();
    return text;
}

/* What may stand between the parts of a document. */
std::string Generator::heading()
{
    switch (draw(5)) {
    case 0:
        return rules();
    case 1: {
        std::string text = "== database\n";
        for (size_t left = draw(12); left > 0; left--)
            text += row_of_database();
        return text;
    }
    case 2:
        return use_ == Use::runs ? configuration_file() : pass_line() + block();
    default:
        return one_in(6) ? "== memory " + std::to_string(1 + draw(one_in(2) ? 60 : 3000)) + "\n" : file();
    }
}

std::string Generator::made()
{
    const std::vector<Subject> &all = all_subjects();
    const Subject              *about[2] = {&all[draw(all.size())], &all[draw(all.size())]};
    subject_ = about[0];
    std::string text = use_ == Use::runs ? "== run upgrade\n" : head_line();
    std::string behind;
    for (size_t left = draw(3); left > 0; left--)
        behind += heading();
    for (size_t passes = 1 + draw(2); passes > 0; passes--) {
        text += use_ == Use::runs ? configuration_file() : pass_line();
        for (size_t left = 1 + draw(5); left > 0; left--) {
            subject_ = one_in(6) ? &all[draw(all.size())] : about[draw(2)];
            text += block();
        }
    }
    return text + behind;
}

/* A line to be put in anywhere. */
std::string Generator::new_line()
{
    switch (draw(12)) {
    case 0:
        return entry();
    case 1:
        return nested(2);
    case 2:
        return block();
    case 3:
        return one_in(2) ? "next\n" : "end\n";
    case 4:
        return "edit " + name() + "\n";
    case 5:
        return "config " + word() + "\n";
    case 6:
        return rule();
    case 7:
        return row_of_database();
    default:
        return "set " + word() + " " + value() + "\n";
    }
}

/* Another word, and mostly one that is looked for, in the place of one in the line. */
static void replace_word(std::string *line, size_t draw, const std::string &word)
{
    std::vector<size_t> starts;
    for (size_t at = 0; at + 1 < line->size(); at++)
        if ((*line)[at] != ' ' && (at == 0 || (*line)[at - 1] == ' '))
            starts.push_back(at);
    if (starts.size() < 2)
        return;
    size_t start = starts[1 + draw % (starts.size() - 1)];
    size_t end = std::min(line->find_first_of(" \n", start), line->size());
    line->replace(start, end - start, word);
}

void Generator::disturb_once(std::string *document)
{
    Lines  lines = lines_of(*document);
    size_t at = draw(lines.size());
    auto   place = [&](size_t line) { return lines.begin() + static_cast<std::ptrdiff_t>(line); };
    Lines  part(place(at), place(end_of(lines, at)));
    switch (draw(10)) {
    case 0:
        lines.erase(place(at), place(at + 1));
        break;
    case 1:
        lines.erase(place(at), place(at + part.size()));
        break;
    case 2: /* once more, somewhere */
        lines.insert(place(draw(lines.size() + 1)), part.begin(), part.end());
        break;
    case 3: /* elsewhere */
        lines.erase(place(at), place(at + part.size()));
        lines.insert(place(draw(lines.size() + 1)), part.begin(), part.end());
        break;
    case 4:
    case 5:
        replace_word(&lines[at], draw(1000), one_in(2) ? word() : one_in(3) ? changed(word()) : value());
        break;
    case 6:
        if (one_in(3))
            return void(*document += heading());
        if (use_ == Use::parts && lines[at].starts_with("== run"))
            lines[at] = head_line();
        else if (use_ == Use::parts && lines[at].starts_with("== pass"))
            lines[at] = pass_line().substr(0, pass_line().find('\n') + 1);
        else
            replace_word(&lines[at], draw(1000), release());
        break;
    default:
        lines.insert(place(at), new_line());
    }
    *document = joined(lines);
}

std::string Generator::disturbed(std::string document)
{
    const std::vector<Subject> &all = all_subjects();
    subject_ = &all[draw(all.size())];
    /* Mostly it goes on with what the document is about. */
    for (size_t tries = 0; tries < 30 && !one_in(8); tries++) {
        const Subject &subject = all[draw(all.size())];
        if (document.find(with_blanks(subject.configs[0])) == std::string::npos)
            continue;
        subject_ = &subject;
        break;
    }
    for (size_t left = 1 + draw(4); left > 0; left--)
        if (document.empty())
            return made();
        else
            disturb_once(&document);
    return document;
}

std::string Generator::crossed(const std::string &document, const std::string &other)
{
    Lines lines = lines_of(document), others = lines_of(other);
    for (size_t left = 1 + draw(3); left > 0 && !others.empty(); left--) {
        size_t from = draw(others.size());
        Lines  part(others.begin() + static_cast<std::ptrdiff_t>(from),
                    others.begin() + static_cast<std::ptrdiff_t>(end_of(others, from)));
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(draw(lines.size() + 1)), part.begin(), part.end());
    }
    return joined(lines);
}

} // namespace fuzzing
