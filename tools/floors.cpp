/* Files are known by their paths from the root, as the table has them; nothing is compiled, and no macro looked at. */
#include "floors.h"

#include "source_index.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace tools {

namespace {

constexpr char table_file[] = "docs/architecture.md";
constexpr char table_heading[] = "## Floors";
constexpr char public_headers_file[] = "cmake/public_headers.cmake";

/* Folders in which an include is looked for, behind that of the file itself. */
constexpr const char *include_folders[] = {"src", "cli", "appliance", "tests", "tools", ""};

/* They build on the library as others do; tests, benches and fuzzers look inside. */
constexpr const char *users_of_library[] = {"cli/", "appliance/", "tools/"};

struct Room {
    std::string name;
    size_t      floor; /* counted from the top */
};

using Files = std::map<std::string, std::set<std::string>>; /* each with the texts of its includes */

bool is_source(const fs::path &path)
{
    return path.extension() == ".cpp" || path.extension() == ".h" || path.extension() == ".c";
}

/* Hidden folders and those that a build has made. */
bool is_skipped(const fs::path &folder)
{
    std::string name = folder.filename();
    return name.starts_with('.') || name.starts_with("build");
}

std::set<std::string> includes_of(const fs::path &path)
{
    std::istringstream    lines(text_of(path));
    std::set<std::string> includes;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string        directive, name;
        if (words >> directive >> name && directive == "#include" && name.size() > 2 && name.front() == '"')
            includes.insert(name.substr(1, name.find('"', 1) - 1));
    }
    return includes;
}

Files read_files(const fs::path &root)
{
    Files files;
    for (auto entry = fs::recursive_directory_iterator(root); entry != fs::recursive_directory_iterator(); ++entry) {
        if (entry->is_directory() && is_skipped(entry->path()))
            entry.disable_recursion_pending();
        else if (entry->is_regular_file() && is_source(entry->path()))
            files[entry->path().lexically_relative(root)] = includes_of(entry->path());
    }
    return files;
}

/* The texts between backticks in a row's first cell. */
std::vector<std::string> rooms_in(const std::string &row)
{
    std::string              cell = row.substr(1, row.find('|', 1) - 1);
    std::vector<std::string> names;
    for (size_t at = cell.find('`'); at != cell.npos; at = cell.find('`', at)) {
        size_t end = std::min(cell.find('`', at + 1), cell.size());
        names.push_back(cell.substr(at + 1, end - at - 1));
        at = std::min(end + 1, cell.size());
    }
    return names;
}

std::vector<Room> read_table(const fs::path &root)
{
    std::istringstream lines(text_of(root / table_file));
    std::vector<Room>  rooms;
    std::string        line;
    while (std::getline(lines, line) && line != table_heading)
        ;
    for (size_t floor = 0; std::getline(lines, line) && !line.starts_with("## ");) {
        if (!line.starts_with('|'))
            continue;
        for (const std::string &name : rooms_in(line))
            rooms.push_back({name, floor});
        floor++;
    }
    return rooms;
}

std::set<std::string> read_public_headers(const fs::path &root)
{
    std::istringstream    words(text_of(root / public_headers_file));
    std::set<std::string> headers;
    for (std::string word; words >> word;)
        headers.insert("src/" + word.substr(0, word.find(')')));
    return headers;
}

/* A file without its ending: a header and its source are one. */
std::string stem_of(const std::string &file)
{
    return fs::path(file).replace_extension();
}

std::string folder_of(const std::string &file)
{
    return file.substr(0, file.rfind('/') + 1);
}

class House {
  public:
    explicit House(const fs::path &root)
        : files_(read_files(root)), rooms_(read_table(root)), public_headers_(read_public_headers(root))
    {
    }

    std::vector<std::string> faults()
    {
        for (const auto &[file, includes] : files_) {
            if (const Room *room = room_of(file))
                used_.insert(room);
            else
                tell(file + " is in no room of " + table_file);
            for (const std::string &text : includes)
                look_at(file, text);
        }
        for (const auto &[stem, above] : edges_)
            look_for_circle(stem);
        for (const Room &room : rooms_)
            if (!used_.contains(&room))
                tell(room.name + " is a room of " + table_file + " and holds nothing");
        return std::move(faults_);
    }

  private:
    void tell(const std::string &fault)
    {
        faults_.push_back(fault);
    }

    const Room *room_named(const std::string &name) const
    {
        auto found = std::find_if(rooms_.begin(), rooms_.end(), [&](const Room &room) { return room.name == name; });
        return found == rooms_.end() ? nullptr : &*found;
    }

    /* A file's own room goes ahead of its folder's, and that ahead of one for all below a folder. */
    const Room *room_of(const std::string &file) const
    {
        const Room *room = room_named(stem_of(file));
        if (!room)
            room = room_named(folder_of(file));
        for (std::string folder = folder_of(file); !room && !folder.empty();) {
            room = room_named(folder + "...");
            folder.pop_back();
            folder = folder_of(folder);
        }
        return room;
    }

    /* The file that an include means. One that is not there is made by the build, if the table names it. */
    std::optional<std::string> file_meant(const std::string &file, const std::string &text) const
    {
        std::vector<std::string> places = {folder_of(file)};
        places.insert(places.end(), std::begin(include_folders), std::end(include_folders));
        for (const std::string &place : places) {
            std::string meant = (fs::path(place) / text).lexically_normal();
            if (files_.contains(meant) || room_named(stem_of(meant)))
                return meant;
        }
        return std::nullopt;
    }

    bool may_see(const std::string &file, const std::string &meant) const
    {
        bool uses_library = std::any_of(std::begin(users_of_library), std::end(users_of_library),
                                        [&](const char *folder) { return file.starts_with(folder); });
        return !uses_library || !meant.starts_with("src/") || public_headers_.contains(meant);
    }

    void look_at(const std::string &file, const std::string &text)
    {
        std::string                includes = file + " includes " + text;
        std::optional<std::string> meant = file_meant(file, text);
        if (!meant) {
            tell(includes + ", which is nowhere");
            return;
        }
        if (stem_of(file) != stem_of(*meant))
            edges_[stem_of(file)].insert(stem_of(*meant));
        if (!may_see(file, *meant))
            tell(includes + ", which is not among the headers of " + public_headers_file);
        const Room *above = room_of(file), *below = room_of(*meant);
        used_.insert(below);
        if (!above || !below || above == below)
            return;
        if (above->floor > below->floor)
            tell(includes + ", which stands on a higher floor");
        else if (above->floor == below->floor)
            tell(includes + ", which is in another room on the same floor");
    }

    /* Depth first, with the way on a list of its own; what has been left is on no circle that is not yet told. */
    void look_for_circle(const std::string &stem)
    {
        if (left_.contains(stem))
            return;
        auto seen = std::find(way_.begin(), way_.end(), stem);
        if (seen != way_.end()) {
            std::string circle;
            for (; seen != way_.end(); ++seen)
                circle += *seen + " includes ";
            tell("a circle: " + circle + stem);
            return;
        }
        way_.push_back(stem);
        if (edges_.contains(stem))
            for (const std::string &next : edges_.at(stem))
                look_for_circle(next);
        way_.pop_back();
        left_.insert(stem);
    }

    Files                                        files_;
    std::vector<Room>                            rooms_;
    std::set<std::string>                        public_headers_;
    std::map<std::string, std::set<std::string>> edges_; /* between stems */
    std::vector<std::string>                     way_;
    std::set<std::string>                        left_;
    std::set<const Room *>                       used_;
    std::vector<std::string>                     faults_;
};

} // namespace

std::vector<std::string> faults_of_includes(const fs::path &root)
{
    return House(root).faults();
}

} // namespace tools
