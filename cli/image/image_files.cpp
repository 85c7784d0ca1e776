/* Finding and opening an image's files. Whether they are any good is told by the checks of this room. */
#include "image/image_files.h"

#include "image/built_image.h"
#include "image/packaged_image.h"
#include "system/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>

namespace command {

namespace {

/* Not blocking, so that a pipe in a file's place is no trap. */
Fd open_regular(const std::string &path, std::string &why)
{
    Fd          fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat st = {};
    if (!fd || fstat(fd.get(), &st) != 0) {
        why = strerror(errno);
        return Fd();
    }
    if (S_ISREG(st.st_mode))
        return fd;
    why = "Not a file";
    return Fd();
}

size_t number_in_table(const std::string &name)
{
    for (size_t at = 0; at < std::size(image_file_table); at++)
        if (name == image_file_table[at].name)
            return at;
    throw std::logic_error(name + " is no file of an image");
}

bool is_built_image(const std::vector<std::string> &texts)
{
    static_assert(std::size(built_image) == std::size(image_file_table));
    return std::equal(texts.begin(), texts.end(), std::begin(built_image), std::end(built_image));
}

} // namespace

const char *place_of_image_file(const std::string &name)
{
    return image_file_table[number_in_table(name)].place;
}

Image open_image(const std::string &named)
{
    Image       image = {image_folder(named), {}};
    std::string missing;
    for (const ImageFile &file : image_file_table) {
        std::string path = image.folder + "/" + file.name;
        std::string why;
        image.files.push_back(open_regular(path, why));
        if (!image.files.back())
            missing += (missing.empty() ? "" : ", ") + path + " (" + why + ")";
    }
    if (!missing.empty())
        throw Failure(Status::unusable,
                      "The image's files are not all there: " + missing + ". Give --image the folder that holds them.");
    return image;
}

std::string image_text(const Image &image, const std::string &name)
{
    int         fd = image.files[number_in_table(name)].get();
    std::string text;
    char        part[65536];
    for (;;) {
        ssize_t got = pread(fd, part, sizeof part, static_cast<off_t>(text.size()));
        if (got == 0)
            return text;
        if (got > 0)
            text.append(part, static_cast<size_t>(got));
        else if (errno != EINTR)
            throw PathError{"read", name, errno};
    }
}

std::vector<ImageFault> faults_of(const Image &image, int32_t lowest_release)
{
    std::vector<std::string> texts;
    for (const ImageFile &file : image_file_table)
        texts.push_back(image_text(image, file.name));
    if (is_built_image(texts))
        return {};
    return faults_of_image({texts[0], texts[1], texts[2], texts[3]}, lowest_release);
}

} // namespace command
