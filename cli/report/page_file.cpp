/* A page may be made anew; nothing else is replaced by one. */
#include "report/page_file.h"

#include "report/page.h"
#include "run/output_file.h"
#include "system/failure.h"
#include "system/files.h"

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace command {

static bool is_page(const std::string &path)
{
    static constexpr std::string_view start = "<!DOCTYPE html>";
    std::string                       first(start.size(), '\0');
    std::ifstream                     in(path, std::ios::binary);
    in.read(first.data(), static_cast<std::streamsize>(first.size()));
    return in.gcount() == 0 || first == start;
}

void require_page_path(const std::string &path)
{
    std::error_code none;
    fs::path        folder = fs::path(path).parent_path();
    if (fs::is_directory(path, none))
        throw Failure(Status::unusable, path + " is a folder. Name the page's file.");
    if (!folder.empty() && !fs::is_directory(folder, none))
        throw Failure(Status::unusable, folder.string() + " is no folder. Make it first, or name another.");
    if (fs::is_regular_file(path, none) && !is_page(path))
        throw Failure(Status::unusable, path + " is there and is no page. Name another file.");
}

void write_page(const std::string &path, Json::Members ledger, Interrupts &interrupts)
{
    write_output(path, report_page(Json(std::move(ledger)).one_line()), Readers::owner, interrupts);
}

} // namespace command
