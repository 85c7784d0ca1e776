/*
 * What a folder of saved appliances holds: an entry for each, a root folder, an archive of one, or a single
 * configuration file. Which of them is sound is for the upgrade to find out.
 */
#pragma once

#include <functional>
#include <string>

namespace command {

enum class EntryForm {
    folder,  /* a root folder */
    archive, /* of one */
    file,    /* a configuration file of its own */
    other,   /* none of these: a pipe, a device, a link that leads nowhere */
};

/* "folder" and so on. */
const char *name_of(EntryForm form);

/* What lies at that path. A link is followed: whoever collects appliances may do so by links. Throws PathError when
 * nobody can tell. */
EntryForm form_of(const std::string &path);

/* Why an entry of that name cannot be handed on to other programs; empty for a good one. */
std::string why_no_entry_name(const std::string &name);

/* Calls `look` with the name of each entry, in no order. Names that begin with a dot are none; their number is given.
 * Throws Failure when the folder cannot be read. */
size_t for_each_entry(const std::string &folder, const std::function<void(const std::string &name)> &look);

/*
 * SHA-256, as hex digits, of all that makes an entry what it is: a file's bytes; of a folder also names, modes and the
 * targets of links below it, which are not followed. Throws PathError.
 */
std::string digest_of_entry(const std::string &path, EntryForm form);

} // namespace command
