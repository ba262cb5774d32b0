#!/usr/bin/python3
"""Guards the arrows between the folders of the source tree.

usage: check_includes.py <src>

Everything is included from the root of the tree, so that the compiler would accept any arrow. This finds includes that
go against the table below, includes of files that are not there, includes of the SLP library's header in folders that have
nothing to do with it, and circles of files.
"""

import re
import sys
from pathlib import Path

# A folder, and the folders or single files that its files may include beside their own.
ALLOWED = {
    "json": set(),
    "slp": set(),  # stands alone
    "framework": {"json"},
    "httpclient": set(),
    "state": {"json"},
    "heartbeat": {
        "framework",
        "discovery/AttributeList.h",
        "discovery/DestructorGuard.h",
        "discovery/DiscoveryMap.h",
        "discovery/LocalMachine.h",
        "discovery/LogThrottle.h",
        "discovery/RunLogged.h",
        "discovery/ServerDiscovery.h",
    },
    "discovery": {"framework", "json", "heartbeat/HeartBeat.h", "heartbeat/AnnounceRecord.h"},
    "plugins": {"framework", "discovery", "json"},
    "host": {"framework", "json", "httpclient", "state"},  # knows plug-ins only by loading them
    "cli": {"json", "httpclient", "state", "heartbeat/AnnounceRecord.h", "heartbeat/GroupAddress.h"},  # an outsider
}

# Whoever else wants something of SLP asks the inventory.
MAY_INCLUDE_SLP = {"slp", "discovery", "cli"}

INCLUDE_OF_SLP = re.compile(r"^\s*#\s*include\s*<slp\.h>")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
INCLUDE_OF_OURS = re.compile(r"^\s*#\s*include\s*<((?:%s)/[^>]+)>" % "|".join(ALLOWED))
SUFFIXES = {".h", ".cpp", ".in"}


def lines(path):
    return enumerate(path.read_text(encoding="utf-8").splitlines(), start=1)


def slp_problems(path, file):
    """Includes of the SLP library's header where it does not belong."""
    if file.split("/")[0] in MAY_INCLUDE_SLP:
        return []
    return [f"{file}:{number}: <slp.h>: {file.split('/')[0]}/ may not include it"
            for number, line in lines(path) if INCLUDE_OF_SLP.match(line)]


def includes(path):
    """Yields line number and included file of each include that is not a system's or a library's."""
    for number, line in lines(path):
        found = INCLUDE.match(line) or INCLUDE_OF_OURS.match(line)
        if found:
            yield number, found.group(1)


def source_of(root, included):
    """The file of the tree behind an include, which may be generated from a template; None when there is none."""
    for candidate in (included, included + ".in"):
        if (root / candidate).is_file():
            return candidate
    return None


def arrow_problem(root, file, included):
    folder, target = file.split("/")[0], included.split("/")[0]
    if target not in ALLOWED or "/" not in included:
        return f'"{included}" is not named from the root of the tree'
    if source_of(root, included) is None:
        return f'"{included}" is not there'
    if target != folder and not {target, included} & ALLOWED[folder]:
        return f'"{included}": {folder}/ may not include it'
    return None


def circle(graph):
    """The files of one circle, its first file again at the end; empty when there is none."""
    done, path = set(), []

    def visit(file):
        if file in path:
            return path[path.index(file):] + [file]
        if file in done:
            return []
        path.append(file)
        for included in graph.get(file, ()):
            found = visit(included)
            if found:
                return found
        path.pop()
        done.add(file)
        return []

    for file in sorted(graph):
        found = visit(file)
        if found:
            return found
    return []


def problems(root):
    """All problems of the tree, and how many files were looked at."""
    found, graph = [], {}
    files = sorted(path for path in root.rglob("*") if path.suffix in SUFFIXES and path.is_file())
    for path in files:
        file = path.relative_to(root).as_posix()
        if file.split("/")[0] not in ALLOWED:
            found.append(f"{file}: its folder has no rule in check_includes.py")
            continue
        found += slp_problems(path, file)
        graph[file] = []
        for number, included in includes(path):
            problem = arrow_problem(root, file, included)
            if problem:
                found.append(f"{file}:{number}: {problem}")
            else:
                graph[file].append(source_of(root, included))
    walked = circle(graph)
    if walked:
        found.append("circle: " + " -> ".join(walked))
    return found, len(files)


def main(arguments):
    if len(arguments) != 2 or not Path(arguments[1]).is_dir():
        print(__doc__, file=sys.stderr)
        return 2
    found, count = problems(Path(arguments[1]))
    for problem in found:
        print(problem, file=sys.stderr)
    print(f"{count} files, {len(found)} problems")
    return 1 if found or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
