#!/usr/bin/env python3
"""Everything goes wrong, one thing at a time: ./dev faults, or with STRIKE, HELD_TIME and NO_MEMORY beside MIGR faults.py

WHAT narrows it down: a command ("fleet one"), or a part of an appliance's name. What was found is kept in --results, and
--page writes it into docs/reliability.md.
"""
import argparse
import datetime
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import memory
import page
import power
import scenes
import sweep

SKIPPED = 77
MEMORY_DISK = "/dev/shm"


def parsed():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("what", nargs="*", help="a command, or a part of an appliance's name")
    parser.add_argument("--power", action="store_true", help="take the power away, in place of letting calls fail")
    parser.add_argument("--memory", action="store_true", help="let allocations fail, in place of calls")
    parser.add_argument("--all", action="store_true", help="every call of every appliance, with all that can go wrong with it; every allocation")
    parser.add_argument("--every", type=int, default=1, help="try one of so many only")
    parser.add_argument("--from", dest="first", type=int, default=1, help="with --memory: the first allocation that is tried; its results are not kept")
    parser.add_argument("--short", action="store_true", help="a few of the smallest appliance, for each run of the tests")
    parser.add_argument("--page", action="store_true", help="write what is in --results into docs/reliability.md")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--results", type=pathlib.Path, default=pathlib.Path("build-faults/results"))
    return parser.parse_args()


def may_trace(strike):
    """Whether this machine has strace, and lets a process be traced and its calls be replaced."""
    if not any(os.access(os.path.join(folder, "strace"), os.X_OK) for folder in os.environ["PATH"].split(":")):
        return False
    probe = subprocess.run([strike, "0", "1000000", "1", "kill", "/bin/true"], capture_output=True, text=True)
    traced = subprocess.run(["strace", "-o", "/dev/null", "/bin/true"], capture_output=True)
    return probe.stdout.startswith("passed 0") and traced.returncode == 0


def chosen_scenes(commands, words):
    for command in commands:
        for appliance in scenes.APPLIANCES:
            if all(word == command or word in appliance for word in words):
                yield scenes.Scene(command, appliance, os.environ["MIGR"])


def today():
    return str(datetime.date.today())


def complain(text):
    print(text, file=sys.stderr)


def tell_call(verdict):
    call = verdict.call
    complain(f"  process {call.process}, {call.name} {call.nth}, {verdict.blow} ({verdict.kind()}): {call.arguments}")
    complain("".join(f"    {fault}\n" for fault in verdict.faults) + f"    said: {verdict.said[-400:].strip()}")


def tell_allocation(verdict):
    complain(f"  allocation {verdict.number}: {'; '.join(verdict.faults)}\n    said: {verdict.said[-400:].strip()}")


def tried_text(thorough, every):
    return ("all" if thorough else "sites") + (f", one of {every}" if every > 1 else "")


def calls_of(scene, work, options):
    thorough = options.all or (scene.appliance == "smallest" and scene.command != "fleet upgrade")
    swept = sweep.Sweep(scene, os.environ["STRIKE"], work)
    verdicts, left_out = swept.run(options.jobs, thorough, options.every, tell_call)
    swept.clean_up()
    result = page.summary(scene, swept.calls, verdicts, left_out, tried_text(thorough, options.every), today())
    print(f"{scene.name()}: {len(swept.calls)} calls, {len(verdicts)} tried, {result['wanting']} found wanting", flush=True)
    return result


def losses_of(scene, work, options):
    loss = power.Loss(scene, os.environ["STRIKE"], work)
    calls, disks, tried, wanting = power.sweep(loss, 1 if options.short else 4, complain)
    if not power.finds_missing_syncs(loss):
        complain("  files that are not synced are not found missing: this check proves nothing")
        wanting += 1
    loss.clean_up()
    print(f"{scene.name()}: {calls} calls, {disks} states of the disk, {tried} tried, {wanting} found wanting", flush=True)
    return {"command": scene.command, "appliance": scene.appliance, "date": today(), "power": True, "calls": calls, "disks": disks, "runs": tried,
            "wanting": wanting}


def allocations_of(scene, work, options):
    swept = memory.Memory(scene, os.environ["NO_MEMORY"], work)
    verdicts = swept.sweep(options.jobs, options.all, options.every, options.first, tell_allocation)
    swept.clean_up()
    result = {"command": scene.command, "appliance": scene.appliance, "date": today(), "memory": True, "sanitized": swept.sanitized, "allocations": swept.count,
              "places": swept.count_of_places, "every": options.every, **memory.summary(verdicts)}
    print(f"{scene.name()}: {swept.count} allocations, {len(verdicts)} tried, {result['wanting']} found wanting", flush=True)
    return result


def chosen_work(options):
    """What is done with each scene, with which commands, and the word that its results are kept under."""
    if options.power:
        return losses_of, ("upgrade",) if options.short else ("upgrade", "rollback"), "power-"
    if options.memory:
        return allocations_of, ("upgrade", "rollback", "convert", "fleet one"), "memory-sanitized-" if memory.has_sanitizers(os.environ["MIGR"]) else "memory-"
    return calls_of, scenes.COMMANDS[:3] if options.short else scenes.COMMANDS, ""


def run(options, work_of, commands, prefix):
    found_wanting = 0
    words = options.what or (["smallest"] if options.short else [])
    with tempfile.TemporaryDirectory(prefix="faults-", dir=MEMORY_DISK if os.path.isdir(MEMORY_DISK) else None) as work:
        for scene in chosen_scenes(commands, words):
            result = work_of(scene, work, options)
            found_wanting += result["wanting"]
            if not options.short and options.first == 1:
                options.results.mkdir(parents=True, exist_ok=True)
                (options.results / f"{prefix}{scene.name().replace(' ', '-')}.json").write_text(json.dumps(result, indent=1))
    return 1 if found_wanting else 0


def main():
    options = parsed()
    if options.short:
        options.every = 151
    if options.page:
        page.write(options.results)
        return 0
    if not options.memory and not may_trace(os.environ["STRIKE"]):
        print("this machine has no strace, or lets nobody trace")
        return SKIPPED
    try:
        if options.power:
            power.enter_own_mounts()
        return run(options, *chosen_work(options))
    except power.NoDisks as why:
        print(f"this machine lets nobody mount a disk: {why}")
        return SKIPPED


if __name__ == "__main__":
    sys.exit(main())
