#!/usr/bin/env python3
"""Everything goes wrong, one thing at a time: ./dev faults, or MIGR=COMMAND STRIKE=TRACER faults.py [WHAT...]

WHAT narrows it down: words that are in a scene's name ("upgrade, smallest"). What was found is kept in --results, and
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

import page
import scenes
import sweep

SKIPPED = 77
MEMORY_DISK = "/dev/shm"


def parsed():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("what", nargs="*", help="words that the names of scenes have in them")
    parser.add_argument("--all", action="store_true", help="every call of every appliance, with all that can go wrong with it")
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


def chosen_scenes(migr, words):
    for command in scenes.COMMANDS:
        for appliance in scenes.APPLIANCES:
            scene = scenes.Scene(command, appliance, migr)
            if all(word in scene.name() for word in words):
                yield scene


def tell(verdict):
    call = verdict.call
    print(f"  process {call.process}, {call.name} {call.nth}, {verdict.blow} ({verdict.kind()}): {call.arguments}", file=sys.stderr)
    for fault in verdict.faults:
        print(f"    {fault}", file=sys.stderr)
    print(f"    said: {verdict.said[-400:].strip()}", file=sys.stderr)


def run_scene(scene, strike, work, options):
    thorough = options.all or (scene.appliance == "smallest" and scene.command != "fleet upgrade")
    swept = sweep.Sweep(scene, strike, work)
    verdicts, left_out = swept.run(options.jobs, thorough, 151 if options.short else 1, tell)
    swept.clean_up()
    faults = sum(bool(verdict.faults) for verdict in verdicts)
    print(f"{scene.name()}: {len(swept.calls)} calls, {len(verdicts)} tried, {faults} found wanting", flush=True)
    return page.summary(scene, swept.calls, verdicts, left_out, thorough, str(datetime.date.today()))


def main():
    options = parsed()
    if options.page:
        page.write(options.results)
        return 0
    strike, migr = os.environ["STRIKE"], os.environ["MIGR"]
    if not may_trace(strike):
        print("this machine has no strace, or lets nobody trace")
        return SKIPPED
    words = options.what or (["smallest"] if options.short else [])
    found_wanting = 0
    with tempfile.TemporaryDirectory(prefix="faults-", dir=MEMORY_DISK if os.path.isdir(MEMORY_DISK) else None) as work:
        for scene in chosen_scenes(migr, words):
            if options.short and scene.command.startswith("fleet"):
                continue
            result = run_scene(scene, strike, work, options)
            found_wanting += result["wanting"]
            if not options.short:
                options.results.mkdir(parents=True, exist_ok=True)
                (options.results / f"{scene.name().replace(' ', '-')}.json").write_text(json.dumps(result, indent=1))
    return 1 if found_wanting else 0


if __name__ == "__main__":
    sys.exit(main())
