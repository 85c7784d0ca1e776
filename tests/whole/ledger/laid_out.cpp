/* Samples and the image's files in a root folder, for any test that upgrades them. */
#include "laid_out.h"

#include "support/files.h"
#include "support/places.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

fs::path samples()
{
    return support::source_path("/samples");
}

} // namespace

std::vector<std::string> ledger_test::all_samples()
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(samples()))
        if (fs::is_directory(entry.path() / "data/config"))
            names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

void ledger_test::lay_out_image(const support::ApplianceRoot &root)
{
    fs::path image = support::build_path("/image");
    for (const char *file : {"update_config", "system.conf.predefine", "signature.db"})
        root.write(std::string("/data/etc/") + file, support::file_text(image / file));
    root.write("/etc/syntax_v510.txt", support::file_text(image / "syntax_v510.txt"));
}

void ledger_test::lay_out_sample(const std::string &sample, const support::ApplianceRoot &root)
{
    fs::remove_all(root.path());
    std::string command = (samples() / "lay_out").string() + " " + sample + " " + root.path().string();
    if (system(command.c_str()) != 0)
        throw std::runtime_error(command);
    lay_out_image(root);
}

std::vector<std::string> ledger_test::configurations_of(const std::string &sample)
{
    std::vector<std::string> texts;
    for (const fs::directory_entry &entry : fs::directory_iterator(samples() / sample / "data/config"))
        if (entry.path().extension() == ".conf")
            texts.push_back(support::file_text(entry.path()));
    return texts;
}
