/*
 * library_run IMAGE FILE [watched]: the library's whole run, as a host has it, in a sandbox with the image's data and
 * an appliance whose one domain is the file. What it takes is for whoever started it to measure. `watched`: with the
 * observer of the command, which takes down each change.
 */
#include "generate.h"
#include "need.h"
#include "sandbox.h"

#include "driver/migr.h"
#include "explain/journal.h"
#include "system/gzip_text.h"

#include <fstream>
#include <string>

namespace {

constexpr char domain_file[] = "/data/config/sys_domain.root.conf.gz";

std::string content(const char *path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void lay_out_global_file()
{
    std::ofstream stream("/data/config/sys_global.conf.gz", std::ios::binary);
    stream << command::gzip(bench::header_lines() + "config system global\nend\n");
    bench::need(stream.flush().good(), "laying out");
}

} // namespace

int main(int argc, char **argv)
{
    bench::need(argc == 3 || argc == 4, "library_run IMAGE FILE [watched]");
    std::string image = argv[1];
    bench::enter_sandbox({{argv[2], domain_file},
                          {image + "/update_config", "/data/etc/update_config"},
                          {image + "/syntax_v510.txt", "/etc/syntax_v510.txt"},
                          {image + "/system.conf.predefine", "/data/etc/system.conf.predefine"},
                          {image + "/signature.db", "/data/etc/signature.db"}});
    lay_out_global_file();
    std::string before = content(domain_file);
    if (argc == 3) {
        migr_main_do_all();
    } else {
        command::Journal journal = command::take_down(migr_main_do_all);
        bench::need(!journal.is_incomplete && journal.nodes.size() > 1, "taking down");
    }
    bench::need(content(domain_file) != before, "the upgrade");
    bench::leave_sandbox();
}
