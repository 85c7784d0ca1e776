/* Where the packaged image lies, by where the command itself lies. Whether its files are sound is not asked here. */
#include "image/packaged_image.h"

#include "system/failure.h"

namespace fs = std::filesystem;

namespace command {

std::string packaged_image(const fs::path &command_path)
{
    fs::path beside = command_path.parent_path();
    fs::path installed = beside.parent_path() / "share" / "migr" / "image";
    fs::path built = beside / "image";
    for (const fs::path &folder : {installed, built}) {
        std::error_code error;
        if (fs::is_directory(folder, error))
            return folder;
        if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
            throw PathError{"look for", folder, error.value()};
    }
    throw Failure(Status::unusable, "No image's files came with this command: neither " + installed.string() + " nor " +
                                        built.string() + " is there. Name their folder with --image.");
}

std::string image_folder(const std::string &named)
{
    if (!named.empty())
        return named;
    std::error_code error;
    fs::path        command_path = fs::read_symlink("/proc/self/exe", error);
    if (error)
        throw Failure(Status::unusable, "migr cannot tell where it is installed (/proc/self/exe: " + error.message() +
                                            "). Name the folder of the image's files with --image.");
    return packaged_image(command_path);
}

} // namespace command
