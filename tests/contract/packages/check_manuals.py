"""check_manuals.py SERVER CONTROL PAGES...: the manual pages are in order and have every option and command that --help has,
and so do the completions of bash."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

server, control = map(pathlib.Path, sys.argv[1:3])
pages = {pathlib.Path(page).name: pathlib.Path(page) for page in sys.argv[3:]}
COMPLETIONS = pathlib.Path(__file__).resolve().parents[3] / "packaging" / "completions" / "kvt.bash"
# Whether a page that another package brings is on this machine says nothing of ours.
NOT_OURS = re.compile(r"referenced manual not found|outdated mandoc\.db|lacks .* entry")


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=60, check=True, **options).stdout


def offered(program, *commands):
    """Options and subcommands that the help lists."""
    text = run(program, *commands, "--help")
    section, options, subcommands = "", set(), []
    for line in text.splitlines():
        if re.match(r"\S", line):
            section = line
        elif section == "Subcommands:" and (found := re.match(r"  ([a-z]\S*)", line)):
            subcommands.append(found[1])
        elif section == "Options:" and (found := re.match(r"  (-\S+)", line)):
            options.update(found[1].split(","))
    return options, subcommands


def walk(program, *commands):
    options, subcommands = offered(program, *commands)
    yield commands, options, subcommands
    for name in subcommands:
        yield from walk(program, *commands, name)


def completed(program, *words, word=""):
    """What bash offers for the beginning of a word after these."""
    script = (
        f'source "{COMPLETIONS}"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kvt_complete; '
        'printf "%s\\n" "${COMPREPLY[@]}"'
    )
    environment = {**os.environ, "PATH": f"{program.parent}:{os.environ['PATH']}"}
    return set(run("bash", "-c", script, "bash", program.name, *words, word, env=environment).split())


def rendered(page):
    text = run("mandoc", "-Tascii", page)
    return re.sub(r".\x08", "", text)


def mentions(text, words):
    """As words of their own, and not as parts of others. A line may end between them."""
    pattern = r"\s+".join(map(re.escape, words.split()))
    return re.search(rf"(?<![\w-]){pattern}(?![\w-])", text) is not None


def check_lint():
    for page in pages.values():
        done = subprocess.run(["mandoc", "-Tlint", page], capture_output=True, text=True, timeout=60, check=False)
        left = [line for line in (done.stdout + done.stderr).splitlines() if not NOT_OURS.search(line)]
        assert not left, "\n".join(left)


def check_program(program, page):
    text = rendered(page)
    visited = 0
    for commands, options, subcommands in walk(program):
        visited += 1
        for option in options - {"-h", "--help"}:
            assert mentions(text, option), f"{page.name} lacks {option} of {' '.join(commands)}"
        if commands:
            assert mentions(text, " ".join(commands)), f"{page.name} lacks {' '.join(commands)}"
        missing = (options | set(subcommands)) - completed(program, *commands)
        assert not missing, f"bash does not complete {missing} after {program.name} {' '.join(commands)}"
    return visited


def check_values():
    """What follows an option that takes a value, and what follows the value."""
    assert completed(server, "--log-level") == {"error", "warning", "info", "detail", "trace"}
    assert completed(control, "-o") == completed(control, "--output") == {"table", "json"}
    assert completed(control, "--output", "=") == {"table", "json"}
    assert completed(control, "user", "add", "somebody", "--role") == {"viewer", "operator"}
    assert completed(control, "--server") == completed(control, "--timeout") == completed(server, "--set") == set()
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        (folder / "states").mkdir()
        (folder / "authorities.pem").touch()
        everything = {f"{folder}/states", f"{folder}/authorities.pem"}
        assert completed(control, "--ca", word=f"{folder}/") == everything
        assert completed(server, "--config", word=f"{folder}/") == everything
        assert completed(control, "user", "--state-dir", word=f"{folder}/") == {f"{folder}/states"}
        assert completed(server, "--plugin-dir", word=f"{folder}/") == {f"{folder}/states"}
    # A value that is called like a command is none.
    assert completed(control, "--server", "servers") == completed(control)
    assert completed(control, "--server", "=", "servers") == completed(control)
    assert completed(control, "--server", "servers", "servers") == completed(control, "servers")


def main():
    check_lint()
    assert check_program(server, pages["kvt-server.8"]) == 1
    assert check_program(control, pages["kvtctl.1"]) > 10
    keys = re.findall(r"^([a-z_]+) = ", run(server, "--dump-config"), re.MULTILINE)
    text = rendered(pages["kvt-server.toml.5"])
    missing = [key for key in keys if not re.search(rf"^ +{key}\b", text, re.MULTILINE)]
    assert len(keys) > 40 and not missing, f"kvt-server.toml.5 lacks {missing}"
    check_values()


main()
