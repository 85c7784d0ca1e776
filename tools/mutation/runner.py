"""Runs tests one at a time where they can break nothing: as the first process of a namespace whose every file system is
read-only, but for temporary folders that are emptied after each and a layer over the sources. Reads what to run from its
input, a JSON object for each line, and answers with one. Knows nothing of breakages."""
import json
import mmap
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

TEMPORARY = ("/tmp", "/var/tmp", "/dev/shm")
MAP = "/dev/shm/migr-mutants-reached"
MOST_MEMORY = 6 << 30


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True, stdout=subprocess.DEVNULL)


def shut_in(writable):
    mount("--make-rprivate", "/")
    for folder in TEMPORARY:
        if os.path.isdir(folder):
            mount("-t", "tmpfs", "-o", "size=2g,mode=1777", "tmpfs", folder)
    os.makedirs("/dev/shm/.layer/upper")
    os.makedirs("/dev/shm/.layer/work")
    with open("/proc/self/mounts", encoding="utf-8") as stream:
        mounted = [line.split()[1:4] for line in stream]
    mount("-t", "overlay", "-o", f"lowerdir={writable},upperdir=/dev/shm/.layer/upper,workdir=/dev/shm/.layer/work",
          "sources", writable)
    # Devices can be written to all the same, but none can be removed.
    mount("--bind", "/proc/sys", "/proc/sys")
    for place in {place for place, kind, _ in mounted if kind not in ("proc", "devpts")} - {*TEMPORARY} | {"/proc/sys"}:
        mount("-o", "remount,bind,ro", place)


def end_all():
    """Whoever is left, however often it forked."""
    try:
        os.kill(-1, signal.SIGKILL)
    except ProcessLookupError:
        pass
    while True:
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            return


def empty_temporary():
    for folder in TEMPORARY:
        for name in os.listdir(folder) if os.path.isdir(folder) else []:
            path = os.path.join(folder, name)
            if path == "/dev/shm/.layer":
                continue
            if os.path.isdir(path) and not os.path.islink(path):
                shutil.rmtree(path, ignore_errors=True)
            else:
                os.unlink(path)


def limit_child():
    import resource
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(task):
    environment = dict(os.environ, **task.get("environment", {}))
    if task.get("count"):
        with open(MAP, "wb") as stream:
            stream.truncate(task["count"])
        environment["MIGR_MUTANTS_REACHED"] = MAP
    begun = time.monotonic()
    said = tempfile.TemporaryFile()  # no pipe, which whoever is left of a test would hold open
    child = subprocess.Popen(task["arguments"], env=environment, cwd=task["folder"], stdin=subprocess.DEVNULL,
                             stdout=said, stderr=subprocess.STDOUT, preexec_fn=limit_child)
    try:
        status = child.wait(timeout=task["limit"])
    except subprocess.TimeoutExpired:
        status = "timeout"
    answer = {"status": status, "time": time.monotonic() - begun}
    end_all()
    if task.get("output"):
        said.seek(0)
        answer["output"] = said.read().decode("utf-8", "replace")
    said.close()
    if task.get("count"):
        with open(MAP, "rb") as stream:
            reached = mmap.mmap(stream.fileno(), 0, access=mmap.ACCESS_READ)[:]
        answer["reached"] = [i for i, byte in enumerate(reached) if byte]
    empty_temporary()
    return answer


def main():
    shut_in(sys.argv[1])
    try:
        for line in sys.stdin:
            print(json.dumps(run(json.loads(line))), flush=True)
    except BrokenPipeError:  # whoever asked has been ended
        pass


main()
