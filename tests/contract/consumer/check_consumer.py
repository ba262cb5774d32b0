"""check_consumer.py CMAKE BUILD CXX CC: installs everything into a folder of its own and moves it, builds a plug-in and a
program against it as others would, outside the source tree, and has the installed server load that plug-in."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[2] / "lab"))

from netlab import Lab  # noqa: E402
from server import Build, Server  # noqa: E402

cmake, build, cxx, cc = sys.argv[1:5]


def run(*command, **options):
    done = subprocess.run(
        [os.fspath(word) for word in command], capture_output=True, text=True, timeout=200, **options
    )
    assert done.returncode == 0, f"{command}: {done.returncode}\n{done.stdout}\n{done.stderr}"
    return done.stdout


def install(folder):
    run(cmake, "--install", build, "--prefix", folder / "first")
    unit = (folder / "first/lib/systemd/system/kvt-server.service").read_text()
    program, config = re.search(r"^ExecStart=(\S+) --config (\S+)$", unit, re.MULTILINE).groups()
    run(program, "--config", config, "--dump-config")
    # Whoever moves the tree must not notice.
    (folder / "first").rename(folder / "prefix")
    return folder / "prefix"


def build_with_cmake(folder, prefix):
    shutil.copytree(HERE / "project", folder / "project")
    options = [f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={cxx}", f"-DCMAKE_C_COMPILER={cc}"]
    run(cmake, "-S", folder / "project", "-B", folder / "out", *options)
    run(cmake, "--build", folder / "out")
    cache = (folder / "out" / "CMakeCache.txt").read_text()
    assert f"ServerDiscovery_DIR:PATH={prefix}/" in cache, "another installation was found"
    return folder / "out"


def build_with_pkg_config(folder, prefix):
    environment = {**os.environ, "PKG_CONFIG_PATH": str(next(prefix.rglob("pkgconfig")))}
    flags = run("pkg-config", "--cflags", "--libs", "kvtframework", env=environment).split()
    library = folder / "libByHand.so"
    exports = next(prefix.rglob("exports.map"))
    if "clang" in os.path.basename(cxx):
        flags.remove("-fno-gnu-unique")  # as the file says
    link = ["-shared", "-fPIC", f"-Wl,--version-script={exports}", "-Wl,--no-undefined"]
    run(cxx, "-std=c++20", *link, HERE / "project" / "Greeting.cpp", "-o", library, *flags)
    plugins = run("pkg-config", "--variable=plugindir", "kvtframework", env=environment).strip()
    assert os.path.samefile(plugins, prefix / "lib" / "kvt-server"), plugins
    return library


def greeting_of(lab, name, prefix, folder):
    programs = Build(prefix / "sbin" / "kvt-server", prefix / "bin" / "kvtctl")
    server = Server(lab.add_host(name), programs, folder)
    with server:
        answer = server.get("/1.0/greeting")
        assert answer.status == 200, f"{answer}\n{server.log()}"
        assert answer.json["greeting"] == "hello from elsewhere", answer
        assert server.get("/1.0/servers").status == 200, "the plug-in of discovery is loaded beside it"
        assert server.stop(20) == 0, server.log()


def main():
    with tempfile.TemporaryDirectory() as temporary, Lab() as lab:
        folder = pathlib.Path(temporary)
        prefix = install(folder)
        for header in prefix.rglob("*.h"):
            assert build not in header.read_text(), f"{header} points into the build folder"
        for file in [*prefix.rglob("*.cmake"), *prefix.rglob("*.pc")]:
            assert build not in file.read_text(), f"{file} points into the build folder"
        out = build_with_cmake(folder, prefix)
        assert run(out / "find_services", env={**os.environ, "SLP_CONF": "/dev/null"}) == "found 1\n"

        plugins = prefix / "lib" / "kvt-server"
        shutil.copy(out / "libGreeting.so", plugins)
        greeting_of(lab, "one", prefix, folder)
        (plugins / "libGreeting.so").unlink()
        shutil.copy(build_with_pkg_config(folder, prefix), plugins)
        greeting_of(lab, "two", prefix, folder)


main()
