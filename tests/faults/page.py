"""What was tried, as tables in docs/reliability.md, between the marks that stand there for them."""
import collections
import json
import pathlib
import re

import errors
import scenes

PAGE = scenes.PROJECT / "docs/reliability.md"
COLUMNS = ("EIO", "ENOSPC", "EDQUOT", "EACCES", "EMFILE", "ENOMEM", "EINTR", "short", "kill", "kill-one")


def summary(scene, calls, verdicts, left_out, tried_what, date):
    """Of one scene, as it is kept."""
    tried = collections.defaultdict(lambda: collections.defaultdict(collections.Counter))
    excuses = collections.Counter()
    for verdict in verdicts:
        tried[errors.kind_of(verdict.call)][verdict.kind()][verdict.end] += 1
        excuses.update(verdict.excuses)
    return {"command": scene.command, "appliance": scene.appliance, "date": date, "calls": len(calls), "processes": len({call.process for call in calls}),
            "tried_what": tried_what, "tried": tried, "runs": len(verdicts), "wanting": sum(bool(verdict.faults) for verdict in verdicts),
            "leaves": sum(verdict.leaves for verdict in verdicts), "left_out": left_out, "excuses": excuses}


def write(results):
    kept = [json.loads(path.read_text()) for path in sorted(pathlib.Path(results).glob("*.json"))]
    text = PAGE.read_text()
    for name, table in tables(kept):
        text, count = re.subn(rf"(<!-- {name}, written by ./dev faults --page -->\n).*?(<!-- end -->)", lambda match: match[1] + table + match[2], text,
                              flags=re.DOTALL)
        if count != 1:
            raise SystemExit(f"{PAGE} has no place for {name}")
    PAGE.write_text(text)


def tables(kept):
    """Each table that the page has a place for, and that something is known of."""
    yield "power", table_of_power([one for one in kept if one.get("power")])
    yield "memory", table_of_memory([one for one in kept if one.get("memory")])
    swept = [one for one in kept if one.get("tried")]
    if not swept:
        return
    yield "what can go wrong", table_of_errors()
    yield "runs", table_of_runs(swept)
    yield "what is not promised", table_of_excuses(swept)
    for command in scenes.COMMANDS:
        yield command, table_of_calls([one for one in swept if one["command"] == command])


def row(cells):
    return "| " + " | ".join(map(str, cells)) + " |\n"


def head(cells):
    return row(cells) + "|" + "---|" * len(cells) + "\n"


def table_of_errors():
    text = head(("Calls", "Errors", "Why these"))
    names = {error: name for name, error in vars(errors.errno).items() if name.startswith("E")}
    for calls, given, why in errors.GROUPS + ((("close",), errors.CLOSE[1], errors.CLOSE[2]), (("brk",), (errors.MEMORY,), errors.BRK[1])):
        text += row((", ".join(calls), " ".join(names[error] for error in given), why))
    for reason, calls in errors.NO_ERROR.items():
        text += row((", ".join(calls), "none", reason))
    return text


def table_of_runs(swept):
    text = head(("Command", "Appliance", "Calls", "Processes", "Tried", "Runs", "Left something for the next command", "Found wanting", "Date"))
    for one in in_order(swept):
        text += row((one["command"], one["appliance"], one["calls"], one["processes"], one["tried_what"], one["runs"], one["leaves"],
                     one["wanting"], one["date"]))
    return text


def in_order(kept):
    return sorted(kept, key=lambda one: (one.get("sanitized", False), scenes.COMMANDS.index(one["command"]), scenes.APPLIANCES.index(one["appliance"])))


def table_of_power(kept):
    text = head(("Command", "Appliance", "Calls that write", "States of the disk", "Tried", "Found wanting", "Date"))
    return text + "".join(row((one["command"], one["appliance"], one["calls"], one["disks"], one["runs"], one["wanting"], one["date"])) for one in in_order(kept))


def table_of_memory(kept):
    text = head(("Command", "Appliance", "Allocations", "Places", "Tried", "Refused", "Done", "Aborted", "Not reached", "Found wanting", "Date"))
    excuses = collections.Counter()
    for one in in_order(kept):
        ends = one["ends"]
        excuses.update(one["memory_excuses"])
        beside = ", with sanitizers" if one.get("sanitized") else ""
        text += row((one["command"] + beside, one["appliance"], one["allocations"], one["places"], one["runs"], *(ends.get(end, 0) for end in
                     ("refused", "done", "aborted", "passed")), one["wanting"], one["date"]))
    text += "\n" + head(("Not promised", "How often"))
    return text + "".join(row((reason, f"{count} runs")) for reason, count in sorted(excuses.items()))


def table_of_excuses(swept):
    excuses, left_out = collections.Counter(), collections.Counter()
    for one in swept:
        excuses.update(one["excuses"])
        left_out.update(one["left_out"])
    text = head(("What", "How often"))
    for reason, count in sorted(left_out.items()):
        text += row(("not tried: " + reason, f"{count} calls"))
    for reason, count in sorted(excuses.items()):
        text += row(("not promised: " + reason, f"{count} runs"))
    return text


def cell(ends):
    """Refused or, with a plus, done as if nothing had been; killed runs are just counted."""
    if not ends:
        return ""
    refused, done = ends.get("refused", 0), ends.get("done", 0)
    killed = ends.get("killed", 0)
    parts = [str(killed)] if killed else []
    parts += [str(refused)] if refused else []
    parts += [f"+{done}"] if done else []
    return " ".join(parts) or "-"


def table_of_calls(swept):
    sums = collections.defaultdict(lambda: collections.defaultdict(collections.Counter))
    for one in swept:
        for call, kinds in one["tried"].items():
            for kind, ends in kinds.items():
                sums[call][kind].update(ends)
    text = head(("Call", *COLUMNS))
    for call, kinds in sorted(sums.items()):
        text += row((call, *(cell(kinds.get(kind)) for kind in COLUMNS)))
    return text if swept else ""
