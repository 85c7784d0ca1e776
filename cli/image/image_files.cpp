#include "image/image_files.h"

#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/new_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

/* No descriptor, and why, when it cannot be opened. */
static Fd open_if_usable(const std::string &path, std::string &why)
{
    try {
        return open_file(path, Links::follow);
    } catch (const PathError &error) {
        bool no_file = error.error == EISDIR || error.error == EINVAL;
        why = no_file ? "Not a file" : strerror(error.error);
        return Fd();
    }
}

static void require_none_missing(const std::string &missing, const std::string &next)
{
    if (!missing.empty())
        throw Failure(Status::unusable, "The image's files are not all there: " + missing + ". " + next);
}

static void add_to_list(std::string &list, const std::string &item)
{
    if (!list.empty())
        list += ", ";
    list += item;
}

std::vector<Fd> open_image(const std::string &folder)
{
    std::vector<Fd> files;
    std::string     missing;
    for (const ImageFile &file : image_file_table) {
        std::string path = folder + "/" + file.name;
        std::string why;
        files.push_back(open_if_usable(path, why));
        if (!files.back())
            add_to_list(missing, path + " (" + why + ")");
    }
    require_none_missing(missing, "Give --image the folder that holds them.");
    return files;
}

void check_own_image(const Root &root)
{
    std::string missing = root.run([&] {
        std::string list;
        for (const ImageFile &file : image_file_table) {
            std::string why;
            if (!open_if_usable(file.place, why))
                add_to_list(list, root.shows(file.place) + " (" + why + ")");
        }
        return json(list);
    });
    require_none_missing(missing, "Put them there, or give a folder that holds them with --image.");
}

static void take_over_attributes(int fd, const char *place)
{
    struct stat st = {};
    bool        was_there = stat(place, &st) == 0;
    if (fchmod(fd, was_there ? st.st_mode & 07777 : 0644) != 0)
        throw PathError{"set the mode of", place, errno};
    bool other_owner = was_there && (st.st_uid != geteuid() || st.st_gid != getegid());
    if (other_owner && geteuid() == 0 && fchown(fd, st.st_uid, st.st_gid) != 0)
        throw PathError{"set the owner of", place, errno};
}

static void lay_in_one(int from, const ImageFile &file)
{
    std::error_code error;
    fs::create_directories(folder_of(file.place), error);
    NewFile to(file.place);
    lseek(from, 0, SEEK_SET);
    copy_and_sum(from, file.name, to.fd(), file.place);
    take_over_attributes(to.fd(), file.place);
    to.publish();
}

void lay_in(const std::vector<Fd> &image)
{
    for (size_t at = 0; at < image.size(); at++)
        lay_in_one(image[at].get(), image_file_table[at]);
}

} // namespace command
