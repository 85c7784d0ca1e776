"""What lies in a folder, in a form in which two runs can be compared: without times and names that follow from them."""
import gzip
import hashlib
import json
import os
import re
import stat
import zlib

OWN = "var/lib/migr"
STAMP = re.compile(r"\d{8}T\d{6}\.\d{6}Z")


def look(folder):
    """Path to what is there: kind and rights, and the content."""
    found = {}
    for where, folders, files in os.walk(folder):
        for name in folders + files:
            path = os.path.join(where, name)
            status = os.lstat(path)
            found[os.path.relpath(path, folder)] = (oct(status.st_mode) + attributes_of(path), content_of(path, status))
    return found


def attributes_of(path):
    """A snapshot has them in its manifest; its files have them only where they are the old ones."""
    names = [] if f"/{OWN}/" in path else sorted(os.listxattr(path, follow_symlinks=False))
    return "".join(f" {name}={os.getxattr(path, name, follow_symlinks=False)}" for name in names)


def content_of(path, status):
    if stat.S_ISLNK(status.st_mode):
        return os.readlink(path)
    if not stat.S_ISREG(status.st_mode):
        return ""
    with open(path, "rb") as file:
        return file.read()


def without_times(value):
    """Of what JSON tells, all that another run would tell alike."""
    if isinstance(value, dict):
        return {name: without_times(inner) for name, inner in value.items() if name not in ("changed", "seconds", "sum", "made")}
    if isinstance(value, list):
        return [without_times(inner) for inner in value]
    return value


def told(path, content, folder):
    """The content of a file as it is compared: wherever it says where the scene lies, it says the same."""
    name = os.path.basename(path)
    here = os.fsencode(folder)
    if path.endswith(".fleet/log"):
        return "GNU parallel's, with times"
    if not isinstance(content, bytes):
        return content
    content = content.replace(here, b"SCENE")
    try:
        if name.endswith(".json.gz"):
            return json.dumps(without_times(json.loads(gzip.decompress(content).replace(here, b"SCENE"))), sort_keys=True)
        if name.endswith(".json"):
            return json.dumps(without_times(json.loads(content)), sort_keys=True)
        if name.endswith(".jsonl"):
            lines = {}
            for line in content.decode().splitlines():
                fields = without_times(json.loads(line))
                lines[fields["entry"]] = fields
            return json.dumps(lines, sort_keys=True)
    except (ValueError, OSError, EOFError, KeyError, zlib.error) as error:
        return f"damaged: {error}"
    return hashlib.sha256(content).hexdigest()


def comparable(found, folder):
    """`found` in that folder, with snapshots numbered in their order."""
    stamps = sorted({stamp for path in found for stamp in STAMP.findall(path)})
    numbers = {stamp: f"SNAPSHOT-{number}" for number, stamp in enumerate(stamps)}

    def numbered(text):
        return STAMP.sub(lambda match: numbers.get(match[0], "SNAPSHOT-?"), text) if isinstance(text, str) else text

    return {numbered(path): (mode, numbered(told(path, content, folder))) for path, (mode, content) in found.items()}


def without_own_folders(found, root):
    """Empty folders of the command's own are nobody's loss: it makes them ahead of all else, and they may stay."""
    kept = dict(found)
    for own in (OWN + "/snapshots", OWN, "var/lib", "var"):
        path = os.path.join(root, own)
        if path in kept and not any(other.startswith(path + "/") for other in kept):
            del kept[path]
    return kept


LEFTOVER = re.compile(r"(^|/)(staging-\w{6}|\.migr-private-\w{6}|\.migr-new-\w+|\.migr-old|\.SNAPSHOT-\d+|commit)(/|$)")


def without_leftovers(found):
    """Without what carries a name of the command's own for a while; the next command has to know it."""
    return {path: what for path, what in found.items() if not LEFTOVER.search(path)}


def differences(one, other):
    """A few words on how two states differ."""
    gone = [f"-{path}" for path in one if path not in other]
    came = [f"+{path}" for path in other if path not in one]
    changed = [f"~{path}" for path in one if path in other and one[path] != other[path]]
    return (gone + came + changed)[:8]
