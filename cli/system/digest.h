/* SHA-256 of files, by libcrypto: to tell whether two are the same, not to keep anything secret. */
#pragma once

#include "system/owned.h"

#include <openssl/evp.h>
#include <string>
#include <string_view>

namespace command {

class Sha256 {
  public:
    Sha256();
    void        add(std::string_view bytes);
    std::string hex(); /* ends the sum */

  private:
    Owned<EVP_MD_CTX, EVP_MD_CTX_free> context_;
};

std::string sha256(std::string_view bytes);

/* The sum of what is left to read. Throws PathError, naming `path`. */
std::string sha256_of_file(int fd, const std::string &path);

/* The sum of a file, which is not reached through a link. Throws PathError. */
std::string sha256_of_path(const std::string &path);

/* Copies what is left to read, and gives its sum. Throws PathError, naming the path at fault. */
std::string copy_and_sum(int from, const std::string &from_path, int to, const std::string &to_path);

} // namespace command
