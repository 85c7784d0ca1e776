/* Sums by libcrypto, of bytes as they pass. A sum that cannot be had is a failure, never an empty text. */
#include "system/digest.h"

#include "system/failure.h"
#include "system/file_descriptor.h"
#include "system/files.h"

#include <new>

namespace command {

static void require(int result)
{
    if (result != 1)
        throw std::bad_alloc(); /* the only way in which a sum can fail */
}

Sha256::Sha256() : context_(EVP_MD_CTX_new())
{
    require(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) : 0);
}

void Sha256::add(std::string_view bytes)
{
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Sha256::hex()
{
    static constexpr char digits[] = "0123456789abcdef";
    unsigned char         sum[EVP_MAX_MD_SIZE];
    unsigned              length = 0;
    require(EVP_DigestFinal_ex(context_.get(), sum, &length));
    std::string text;
    for (unsigned at = 0; at < length; at++) {
        text += digits[sum[at] >> 4];
        text += digits[sum[at] & 15];
    }
    return text;
}

std::string sha256(std::string_view bytes)
{
    Sha256 sum;
    sum.add(bytes);
    return sum.hex();
}

std::string sha256_of_file(int fd, const std::string &path)
{
    Sha256 sum;
    for_each_part(fd, path, [&](std::string_view part) { sum.add(part); });
    return sum.hex();
}

std::string sha256_of_path(const std::string &path)
{
    return sha256_of_file(open_file(path, Links::refuse).get(), path);
}

std::string copy_and_sum(int from, const std::string &from_path, int to, const std::string &to_path)
{
    Sha256 sum;
    for_each_part(from, from_path, [&](std::string_view part) {
        sum.add(part);
        write_all(to, part, to_path);
    });
    return sum.hex();
}

} // namespace command
