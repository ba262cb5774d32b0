"""check_packages.py CPACK BUILD: makes the Debian packages, looks into them, installs them on a clean Debian 12, runs the
server there as the unit does, and sees that a purge leaves nothing behind. The clean Debian is made once and kept in the
build folder; it comes from the mirror that apt uses on this machine."""

import json
import os
import pathlib
import re
import shutil
import ssl
import subprocess
import sys
import tempfile
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[2] / "lab"))

from netlab import Lab, wait_for  # noqa: E402

cpack, build = sys.argv[1], pathlib.Path(sys.argv[2])
PACKAGES = {
    "kvt-server",
    "kvt-server-dev",
    "kvt-server-discovery",
    "kvtctl",
    "libkvtframework0",
    "libkvtslp1",
    "libkvtslp-dev",
}
DOCUMENTS = [HERE.parents[2] / "SECURITY.md", *(HERE.parents[2] / "docs").glob("*.md")]
EXPECTED = {
    "kvt-server": [
        "/etc/kvt-server/kvt-server.toml",
        "/lib/systemd/system/kvt-server.service",
        "/usr/sbin/kvt-server",
        "/usr/share/man/man5/kvt-server.toml.5.gz",
        "/usr/share/man/man8/kvt-server.8.gz",
        "/usr/share/bash-completion/completions/kvt-server",
        *(f"/usr/share/doc/kvt-server/{page.name}" for page in DOCUMENTS),
    ],
    "kvt-server-discovery": ["/usr/lib/kvt-server/libServerDiscovery.so"],
    "kvtctl": ["/usr/bin/kvtctl", "/usr/share/man/man1/kvtctl.1.gz", "/usr/share/bash-completion/completions/kvtctl"],
    "libkvtframework0": ["/usr/lib/libkvtframework.so.0"],
    "libkvtslp1": ["/usr/lib/libslp.so.1"],
    "libkvtslp-dev": ["/usr/include/slp.h", "/usr/lib/libslp.so", "/usr/lib/libslp.a", "/usr/lib/pkgconfig/slp.pc"],
    "kvt-server-dev": [
        "/usr/include/kvt-server/framework/plugins/BasePlugin.h",
        "/usr/lib/libkvtframework.so",
        "/usr/lib/pkgconfig/kvtframework.pc",
        "/usr/lib/cmake/ServerDiscovery/ServerDiscoveryConfig.cmake",
    ],
}
# What apt, dpkg and the loader write for themselves.
OF_THE_SYSTEM = ("/run/", "/var/cache/", "/var/lib/apt/", "/var/lib/dpkg/", "/var/log/", "/etc/ld.so.cache", "/tmp", "/packages")
NEEDS_BOOST = "kvt-server-dev"
USER = "61234"  # stands for the one that systemd makes up
HIGHEST_EXPOSURE = 1.6


def run(*command, timeout=300, **options):
    words = [os.fspath(word) for word in command]
    done = subprocess.run(words, capture_output=True, text=True, timeout=timeout, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(words)}: {done.returncode}\n{done.stdout[-4000:]}\n{done.stderr[-4000:]}")
    return done.stdout


def make_packages(folder):
    run(cpack, "-G", "DEB", "-B", folder, cwd=build, timeout=400)
    packages = {path.name.split("_")[0]: path for path in folder.glob("*.deb")}
    assert set(packages) == PACKAGES, packages
    return packages


def check_contents(packages):
    for name, files in EXPECTED.items():
        listed = run("dpkg-deb", "--contents", packages[name])
        rows = [line.split() for line in listed.splitlines()]
        for row in rows:
            assert row[1] == "root/root", f"{name}: {row}"
        found = {row[5].lstrip(".") for row in rows}
        wanted = {*files, f"/usr/share/doc/{name}/copyright", f"/usr/share/doc/{name}/changelog.gz"}
        assert wanted <= found, f"{name} lacks {wanted - found}"
    owners = {}
    for name, path in packages.items():
        for line in run("dpkg-deb", "--contents", path).splitlines():
            file = line.split()[5]
            if not file.endswith("/"):
                assert owners.setdefault(file, name) == name, f"{file} is in {owners[file]} and {name}"
    assert run("dpkg-deb", "--info", packages["kvt-server"], "conffiles") == "/etc/kvt-server/kvt-server.toml\n"
    depends = run("dpkg-deb", "--field", packages["kvt-server"], "Depends")
    assert "libkvtframework0 (= " in depends and "libssl3" in depends, depends
    check_lintian(packages)
    if re.search(r"^CMAKE_BUILD_TYPE:\w+=(Release|RelWithDebInfo|MinSizeRel)$", (build / "CMakeCache.txt").read_text(), re.M):
        check_hardening(packages)


def check_hardening(packages):
    """Programs and libraries are bound at once, which makes their tables read-only, and copy with checked bounds."""
    seen = fortified = 0
    for name, path in packages.items():
        with tempfile.TemporaryDirectory(dir=build) as folder:
            run("dpkg-deb", "--extract", path, folder)
            for file in pathlib.Path(folder).rglob("*"):
                if file.is_symlink() or not file.is_file() or file.open("rb").read(4) != b"\x7fELF":
                    continue
                seen += 1
                assert "BIND_NOW" in run("readelf", "--dynamic", file), f"{name}: {file.name} is not bound at once"
                assert "GNU_RELRO" in run("readelf", "--program-headers", file), f"{name}: {file.name} has no RELRO"
                assert "DYN (" in run("readelf", "--file-header", file), f"{name}: {file.name} has a fixed place"
                fortified += "_chk@GLIBC" in run("readelf", "--wide", "--dyn-syms", file).replace("__stack_chk", "")
    print(f"{seen} programs and libraries, {fortified} with checked copies")
    assert seen >= 5 and fortified > 0


def check_lintian(packages):
    done = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning", *map(str, packages.values())],
        capture_output=True, text=True, timeout=200,
    )
    assert done.returncode == 0, f"lintian:\n{done.stdout}{done.stderr}"


def mirror():
    """Where apt has Debian 12 from on this machine."""
    targets = run("apt-get", "indextargets", "--format", "$(REPO_URI)", "Created-By: Packages", "Codename: bookworm")
    if not targets.strip():
        sys.exit("apt of this machine knows no Debian 12, so there is no mirror to make a clean one from")
    return targets.split()[0]


def clean_debian():
    """Made once: it takes a minute and a mirror."""
    base = build / "debian-root"
    if (base / "etc" / "debian_version").exists():
        return base
    unfinished = build / "debian-root.new"
    shutil.rmtree(unfinished, ignore_errors=True)
    source = mirror()
    done = subprocess.run(
        ["debootstrap", "--variant=minbase", "--include=systemd", "bookworm", unfinished, source],
        capture_output=True, text=True, timeout=400,
    )
    if done.returncode != 0:
        sys.exit(f"debootstrap cannot make a clean Debian from {source}, which apt uses:\n{done.stdout[-2000:]}{done.stderr}")
    unfinished.rename(base)
    return base


class Root:
    """A copy of the clean Debian to install into."""

    def __init__(self, base, folder):
        self.path = folder / "root"
        run("cp", "--archive", base, self.path)
        for file in ("/etc/resolv.conf", "/etc/hosts"):
            shutil.copyfile(file, f"{self.path}{file}")
        for file in pathlib.Path("/etc/apt/apt.conf.d").glob("*proxy*"):
            shutil.copy(file, self.path / "etc" / "apt" / "apt.conf.d")

    def run(self, *command):
        environment = {**os.environ, "DEBIAN_FRONTEND": "noninteractive", "LC_ALL": "C", "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
        return run("chroot", self.path, *command, env=environment)

    def apt(self, *arguments):
        return self.run("apt-get", "-qq", "--yes", "-o", "Dpkg::Use-Pty=0", *arguments)

    def files(self):
        found = self.run("find", "/", "-xdev", "(", "-path", "/proc", "-o", "-path", "/sys", "-o", "-path", "/dev", ")",
                         "-prune", "-o", "-print").splitlines()
        return {path for path in found if not path.startswith(OF_THE_SYSTEM)}


def check_unit(root):
    root.run("systemd-analyze", "verify", "--man=no", "/lib/systemd/system/kvt-server.service")
    link = root.path / "etc/systemd/system/multi-user.target.wants/kvt-server.service"
    assert link.is_symlink(), "the service is not enabled"
    told = root.run("systemd-analyze", "security", "--offline=yes", "--json=short", "kvt-server.service")
    assert len(json.loads(told)) > 50, told
    told = root.run("systemd-analyze", "security", "--offline=yes", "kvt-server.service")
    exposure = float(told.strip().splitlines()[-1].split(": ")[1].split()[0])
    print(f"exposure {exposure}")
    assert exposure <= HIGHEST_EXPOSURE, told


def health(address):
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    try:
        with urllib.request.urlopen(f"https://{address}:8443/healthz", timeout=5, context=context) as answer:
            return answer.status
    except OSError:
        return None


def check_server(root):
    """As the unit runs it: another user, one capability, its state directory, its configuration."""
    state = root.path / "var/lib/private/kvt-server"
    state.mkdir(parents=True, mode=0o700)
    state.parent.chmod(0o755)
    os.chown(state, int(USER), int(USER))
    (root.path / "var/lib/kvt-server").symlink_to("private/kvt-server")
    capabilities = ["--inh-caps=+net_bind_service", "--ambient-caps=+net_bind_service", "--bounding-set=-all,+net_bind_service"]
    identity = [f"--reuid={USER}", f"--regid={USER}", "--clear-groups", "--no-new-privs", *capabilities]
    server = ["/usr/sbin/kvt-server", "--config", "/etc/kvt-server/kvt-server.toml"]
    with Lab() as lab, open(root.path / "packages/log", "w+", encoding="utf-8") as log:
        host = lab.add_host("one")
        command = host.command("chroot", root.path, "setpriv", *identity, *server)
        environment = {"PATH": "/usr/sbin:/usr/bin", "STATE_DIRECTORY": "/var/lib/private/kvt-server"}
        process = subprocess.Popen(command, stdout=log, stderr=log, env=environment)
        try:
            wait_for(lambda: process.poll() is not None or host.call(lambda: health(host.ipv4)) == 200, 30, "it is healthy")
            text = pathlib.Path(log.name).read_text(encoding="utf-8")
            assert process.poll() is None, text
            assert "libServerDiscovery.so" in text, text
            holder = host.call(lambda: pathlib.Path("/proc/thread-self/net/udp").read_text(encoding="ascii"))
            assert any(row.split()[1].endswith(":01AB") for row in holder.splitlines()[1:]), f"port 427 is not its own:\n{holder}"
            process.terminate()
            assert process.wait(20) == 0, pathlib.Path(log.name).read_text(encoding="utf-8")
        finally:
            process.kill()
            process.wait()


def main():
    if os.geteuid() != 0:
        sys.exit("a clean Debian needs root")
    with tempfile.TemporaryDirectory(dir=build) as temporary:
        folder = pathlib.Path(temporary)
        packages = make_packages(folder / "packages")
        check_contents(packages)
        root = Root(clean_debian(), folder)
        before = root.files()
        (root.path / "packages").mkdir()
        for path in packages.values():
            shutil.copy(path, root.path / "packages")
        root.apt("update")
        # What plug-ins are built with needs all headers of Boost, so that apt is only asked whether it can be had.
        wanted = sorted(f"/packages/{path.name}" for name, path in packages.items() if name != NEEDS_BOOST)
        told = root.apt("install", "--simulate", "--no-install-recommends", *wanted, f"/packages/{packages[NEEDS_BOOST].name}")
        assert told.count("\nConf ") > len(packages) and f"\nConf {NEEDS_BOOST} " in told, told
        root.apt("install", "--no-install-recommends", *wanted)
        assert "kvt-server 0." in root.run("kvt-server", "--version")
        assert "kvtctl 0." in root.run("kvtctl", "--version")
        check_unit(root)
        check_server(root)
        root.apt("remove", "kvt-server")
        assert (root.path / "etc/kvt-server/kvt-server.toml").exists(), "a removal took the configuration along"
        assert (root.path / "var/lib/private/kvt-server").exists(), "a removal took the state along"
        root.apt("purge", *sorted(PACKAGES - {NEEDS_BOOST}))
        root.apt("autoremove", "--purge")
        left = sorted(root.files() - before)
        assert not left, f"a purge leaves behind: {left}"


main()
