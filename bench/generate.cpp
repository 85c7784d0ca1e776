/*
 * Texts are put together from a counter and a fixed sequence, so that no two machines measure different ones. They are
 * made to be like real ones in shape, not to show any migration.
 */
#include "generate.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace bench {

namespace {

/* A text that grows, and numbers that depend on nothing but how many were drawn. */
struct Writer {
    std::string text;
    uint32_t    drawn = 12345;

    uint32_t number(uint32_t below)
    {
        drawn = drawn * 1664525 + 1013904223;
        return (drawn >> 8) % below;
    }

    __attribute__((format(printf, 2, 3))) void line(const char *format, ...)
    {
        char    part[1024];
        va_list arguments;
        va_start(arguments, format);
        vsnprintf(part, sizeof part, format, arguments);
        va_end(arguments);
        text += part;
        text += '\n';
    }
};

constexpr const char *words[] = {"gateway", "shop",  "portal", "mail",    "intranet", "backup", "partner", "media",
                                 "login",   "forum", "static", "reports", "archive",  "search", "billing", "news"};

const char *word(Writer &out)
{
    return words[out.number(std::size(words))];
}

void policies(Writer &out, uint32_t count)
{
    out.line("config server-policy policy");
    for (uint32_t i = 0; i < count; i++) {
        out.line("    edit \"%s-%s-%u\"", word(out), word(out), out.number(100000));
        out.line("        set deployment-mode server-pool");
        out.line("        set vserver \"vs-%u\"", out.number(5000));
        out.line("        set service HTTP");
        out.line("        set web-protection-profile \"Inline %s\"", word(out));
        out.line("        set server-pool pool-%u", out.number(3000));
        out.line("        set half-open-threshold %u", out.number(10000));
        out.line("        set comment \"policy of the %s team, floor %u\"", word(out), out.number(30));
        if (out.number(3) == 0) {
            out.line("        config http-content-routing-list");
            for (uint32_t entry = 1 + out.number(6), id = 1; id <= entry; id++) {
                out.line("            edit %u", id);
                out.line("                set content-routing-policy-name route-%u", out.number(900));
                out.line("                set is-default %s", out.number(4) ? "no" : "yes");
                out.line("            next");
            }
            out.line("        end");
        }
        out.line("    next");
    }
    out.line("end");
}

void pools(Writer &out, uint32_t count)
{
    out.line("config server-policy server-pool");
    for (uint32_t i = 0; i < count; i++) {
        out.line("    edit pool-%u", out.number(3000));
        out.line("        set type reverse-proxy");
        out.line("        set lb-algo weighted-round-robin");
        out.line("        config pserver-list");
        for (uint32_t entry = 1 + out.number(8), id = 1; id <= entry; id++) {
            out.line("            edit %u", id);
            out.line("                set ip 10.%u.%u.%u", out.number(256), out.number(256), out.number(256));
            out.line("                set port %u", 1024 + out.number(50000));
            out.line("                set weight %u", 1 + out.number(99));
            out.line("            next");
        }
        out.line("        end");
        out.line("    next");
    }
    out.line("end");
}

void custom_rules(Writer &out, uint32_t count)
{
    out.line("config waf custom-protection-rule");
    for (uint32_t i = 0; i < count; i++) {
        out.line("    edit \"rule %s %u\"", word(out), out.number(100000));
        out.line("        set type request");
        out.line("        config meet-condition");
        out.line("            edit 1");
        out.line("                set expression \"(?i)/%s/[^?]*\\\\.(php|asp)\\?id=[0-9]{%u,}\"", word(out),
                 1 + out.number(20));
        out.line("                set case-sensitive disable");
        out.line("            next");
        out.line("        end");
        out.line("    next");
    }
    out.line("end");
}

/* Error pages are texts of many lines. */
void pages(Writer &out, uint32_t count)
{
    out.line("config system replacemsg-image-text");
    for (uint32_t i = 0; i < count; i++) {
        out.line("    edit page-%u", out.number(100000));
        out.line("        set buffer \"<html><head><title>%s</title></head>", word(out));
        for (uint32_t row = 10 + out.number(30); row > 0; row--)
            out.line("<p class='%s'>Please ask the %s desk, extension %u.</p>", word(out), word(out),
                     out.number(10000));
        out.line("</html>\"");
        out.line("    next");
    }
    out.line("end");
}

} // namespace

std::string configuration(size_t bytes)
{
    Writer out;
    out.text.reserve(bytes + (size_t{1} << 20));
    for (uint32_t block = 0; out.text.size() < bytes; block++) {
        policies(out, 40);
        pools(out, 40);
        custom_rules(out, 20);
        pages(out, 2);
        out.line("config router static-%u", block);
        out.line("    set gateway 10.0.0.%u", out.number(256));
        out.line("end");
    }
    return out.text;
}

std::string edit_list(size_t count)
{
    Writer out;
    out.line("config waf geo-block-list");
    for (size_t i = 1; i <= count; i++) {
        out.line("    edit %zu", i);
        out.line("        set country-name \"%s\"", word(out));
        out.line("    next");
    }
    out.line("end");
    return out.text;
}

std::string header_lines()
{
    return "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n#conf_file_ver=17\n";
}

} // namespace bench
