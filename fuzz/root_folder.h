/*
 * A root folder in memory, in which the library does what it does to files: nothing of the machine's own is touched.
 * Outside of it a fuzzer reads its corpus, and writes what it has found.
 */
#pragma once

#include "fuzz/document.h"

#include <map>
#include <string>

namespace fuzzing {

/* Lays out the image's files and those of the document in an empty root folder. Inside. */
void lay_out(const Document &document);

/* Empties the root folder. Inside. */
void empty_root();

/* Where it lies, seen from outside. */
const std::string &root_path();

/* What lies in /data, /etc and /var, by path: a file's bytes, a link's target. Inside. */
std::map<std::string, std::string> listing();

std::string content_of(const std::string &path);
void        write_file(const std::string &path, std::string_view content);

/* Work inside: the root folder of this process is another one as long as there is such a record. One at a time. */
class Inside {
  public:
    Inside();
    ~Inside();
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;
};

} // namespace fuzzing
