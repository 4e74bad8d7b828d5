#!/usr/bin/env python3
"""A 64-bit Arm machine without hardware: Debian's kernel in QEMU, and the arm64 builds of test
programs in it, over the kernel's own USB stack.

machine.py prepare DIRECTORY
    Fetches the kernel package, once, and keeps of it what the machine needs. Nothing is installed.
machine.py run --machine DIRECTORY --build BUILD --source SOURCE --list FILE --results DIRECTORY
               --clock virtual|real
    Boots, runs the programs that FILE lists for this clock, and keeps what each one printed.
machine.py report --results DIRECTORY PROGRAM
    Shows what one program printed; its exit status is the program's verdict.
"""
import argparse
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import threading
import time

CROSS = "aarch64-linux-gnu-"
LIBRARY_DIRECTORIES = ["/usr/lib/aarch64-linux-gnu", "/lib/aarch64-linux-gnu",
                       "/usr/aarch64-linux-gnu/lib"]
LOADER = "/lib/ld-linux-aarch64.so.1"
MODULES = ["usb/common/usb-common", "usb/core/usbcore", "usb/usbip/usbip-core",
           "usb/usbip/vhci-hcd", "hid/hid", "hid/usbhid/usbhid", "hid/hid-generic"]

QEMU = "qemu-system-aarch64"
# Without -nodefaults QEMU looks for network boot files that are in packages of their own. A newer
# -cpu boots many times slower, since pointer authentication is emulated.
MACHINE = ["-M", "virt", "-cpu", "cortex-a57", "-m", "512", "-nodefaults", "-no-user-config",
           "-display", "none", "-monitor", "none", "-serial", "stdio", "-no-reboot"]
CLOCKS = {
    # Time is what the processor has executed: idle time is skipped, a limit of five seconds costs
    # nothing and is met to the microsecond, whatever else the host does.
    "virtual": ["-smp", "1", "-icount", "shift=1,sleep=off"],
    # Two processors side by side, in the host's time: for races.
    "real": ["-smp", "2", "-accel", "tcg,thread=multi"],
}
KERNEL_WORDS = ("console=ttyAMA0 loglevel=0 panic=-1 nokaslr mitigations=off audit=0 apparmor=0 "
                "security=none cryptomgr.notests rcupdate.rcu_expedited=1 norandmaps rdinit=/init")
HOST_LIMIT = 240  # seconds that a whole run may take


class Problem(Exception):
    """Something that a person has to put right; the text says what."""


def output_of(command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


# ---- The kernel ----

def kernel_package():
    """linux-image-arm64 is an empty package that depends on the kernel of the day."""
    text = output_of(["apt-cache", "depends", "linux-image-arm64:arm64"])
    found = re.search(r"Depends: (linux-image-\S+?)(:arm64)?$", text, re.M)
    if not found:
        raise Problem("apt knows no arm64 kernel; ./run usb adds the architecture")
    return found.group(1) + ":arm64"


def prepare(directory):
    directory = pathlib.Path(directory).resolve()
    if (directory / "Image").exists():
        return
    directory.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(dir=directory) as scratch:
        try:
            package = kernel_package()
            print(f"fetching {package}")
            subprocess.run(["apt-get", "-qq", "download", package], cwd=scratch, check=True,
                           stderr=subprocess.DEVNULL)
        except (subprocess.CalledProcessError, OSError) as error:
            raise Problem(f"the arm64 kernel package could not be fetched: {error}") from error
        archive = next(pathlib.Path(scratch).glob("*.deb"))
        subprocess.run(["dpkg", "-x", archive, "package"], cwd=scratch, check=True)
        unpacked = pathlib.Path(scratch) / "package"
        drivers = next(unpacked.glob("lib/modules/*/kernel/drivers"))
        (directory / "modules").mkdir(exist_ok=True)
        for module in MODULES:
            target = directory / "modules" / (pathlib.Path(module).name + ".ko")
            subprocess.run([CROSS + "strip", "--strip-debug", "-o", target,
                            drivers / (module + ".ko")], check=True)
        # Last: it stands for all of them.
        shutil.move(next(unpacked.glob("boot/vmlinuz-*")), directory / "Image.new")
        (directory / "Image.new").rename(directory / "Image")


# ---- The file system, a cpio archive in the "newc" format ----

class Archive:
    def __init__(self, path):
        self.file = open(path, "wb")
        self.names = set()
        self.inode = 0

    def _entry(self, name, mode, data=b"", device=(0, 0)):
        self.inode += 1
        self.names.add(name)
        encoded = name.encode() + b"\0"
        fields = [self.inode, mode, 0, 0, 1, 0, len(data), 0, 0, *device, len(encoded), 0]
        header = b"070701" + b"".join(b"%08X" % field for field in fields) + encoded
        self.file.write(header + b"\0" * (-len(header) % 4))
        self.file.write(data + b"\0" * (-len(data) % 4))

    def directory(self, name, mode=0o755):
        name = name.strip("/")
        if name and name not in self.names:
            self.directory(os.path.dirname(name))
            self._entry(name, stat.S_IFDIR | mode)

    def add(self, name, data, mode=0o644):
        name = name.strip("/")
        if name in self.names:
            return
        self.directory(os.path.dirname(name))
        self._entry(name, stat.S_IFREG | mode, data)

    def link(self, name, target):
        self.directory(os.path.dirname(name))
        self._entry(name.strip("/"), stat.S_IFLNK | 0o777, target.encode())

    def device(self, name, major, minor):
        self.directory(os.path.dirname(name))
        self._entry(name.strip("/"), stat.S_IFCHR | 0o600, device=(major, minor))

    def close(self):
        self._entry("TRAILER!!!", 0)
        self.file.close()


def find_library(name):
    for directory in LIBRARY_DIRECTORIES:
        path = pathlib.Path(directory) / name
        if path.exists():
            return path
    raise Problem(f"{name} for arm64 is not installed")


def needed_libraries(program, known):
    """The shared libraries of a program and theirs, by name."""
    for name in re.findall(r"\(NEEDED\).*\[(.+)\]", output_of(["readelf", "-d", program])):
        # The library itself is found where it was built.
        if name not in known and not name.startswith(("ld-linux", "libvantor")):
            known[name] = find_library(name)
            needed_libraries(known[name], known)


def stripped(path, cache):
    """The program without what only a debugger reads, kept from one run to the next."""
    cache.mkdir(parents=True, exist_ok=True)
    result = cache / path.name
    if not result.exists() or result.stat().st_mtime_ns < path.stat().st_mtime_ns:
        # Both machines are packed at the same time: neither may find half a file of the other's.
        with tempfile.NamedTemporaryFile(dir=cache, delete=False) as scratch:
            subprocess.run([CROSS + "strip", "--strip-debug", "-o", scratch.name, path], check=True)
        os.replace(scratch.name, result)
    return result


def write_archive(options, programs, path):
    build, source = pathlib.Path(options.build), pathlib.Path(options.source)
    cache = build / "stripped"
    archive = Archive(path)
    for directory in ("dev", "proc", "sys", "run"):
        archive.directory(directory)
    archive.directory("tmp", 0o1777)
    archive.device("dev/console", 5, 1)
    archive.device("dev/null", 1, 3)
    archive.add("init", stripped(build / "tests/machine_init", cache).read_bytes(), 0o755)
    for module in sorted((pathlib.Path(options.machine) / "modules").iterdir()):
        archive.add(f"modules/{module.name}", module.read_bytes())
    # The programs find their files where they were built: the same paths lead to them here.
    files = [build / "bin/vantor-reader"]
    for path in sorted((build / "lib").glob("libvantor.so*")):
        if path.is_symlink():
            archive.link(str(path), os.readlink(path))
        else:
            files.append(path)
    files += [build / "tests" / program.name for program in programs]
    libraries = {}
    for file in files:
        if not file.exists():
            raise Problem(f"{file} is not built; ./run usb builds it")
        archive.add(str(file), stripped(file, cache).read_bytes(), 0o755)
        needed_libraries(file, libraries)
    archive.add(LOADER, find_library(os.path.basename(LOADER)).read_bytes(), 0o755)
    for name, library in sorted(libraries.items()):
        archive.add(f"lib/aarch64-linux-gnu/{name}", library.read_bytes(), 0o755)
    archive.add(str(build / "lib/config.ini"), (source / "config/config.ini").read_bytes())
    for name in ("config/config.ini", "src/ops/citizenship_table.txt"):
        archive.add(str(source / name), (source / name).read_bytes())
    for directory in ("tests/data", "vreader/profiles"):
        for file in sorted((source / directory).rglob("*")):
            if file.is_file():
                archive.add(str(file), file.read_bytes())
    # Chinese texts: the C library loads a conversion when it is asked for.
    conversions = pathlib.Path(LIBRARY_DIRECTORIES[0]) / "gconv"
    for file in (conversions / "gconv-modules", conversions / "GB18030.so",
                 conversions / "UNICODE.so", conversions / "UTF-16.so",
                 *sorted((conversions / "gconv-modules.d").glob("*.conf"))):
        archive.add(str(file), file.read_bytes())
    archive.add("programs", "".join(program.line(build) for program in programs).encode())
    archive.close()


# ---- The list of programs ----

class Program:
    def __init__(self, clocks, limit, name, arguments):
        self.clocks, self.limit, self.name = clocks, limit, name
        self.arguments = arguments

    def line(self, build):
        return " ".join([self.name, self.limit, str(build / "tests" / self.name), "--gtest_brief=1",
                         *self.arguments]) + "\n"


def listed_programs(path, clock):
    programs = []
    for line in pathlib.Path(path).read_text().splitlines():
        words = line.split("#")[0].split()
        if words and words[0] in (clock, "both"):
            programs.append(Program(words[0], words[1], words[2], words[3:]))
    return programs


# ---- A run ----

def boot(options, initrd):
    command = [QEMU, *MACHINE, *CLOCKS[options.clock], "-kernel",
               str(pathlib.Path(options.machine) / "Image"), "-initrd", str(initrd), "-append",
               f"{KERNEL_WORDS} vantor.clock={options.clock}"]
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT)
    limit = threading.Timer(HOST_LIMIT, process.kill)
    limit.start()
    began = time.monotonic()
    lines = []
    with open(pathlib.Path(options.results) / "console.txt", "w", encoding="utf-8") as file:
        for raw in process.stdout:
            line = raw.decode(errors="replace").replace("\r", "")
            if line.startswith(("@@ end ", "@@ machine ")): # the host's seconds as well
                line = f"{line.rstrip()} {time.monotonic() - began:.1f}\n"
            lines.append(line)
            file.write(line)
            file.flush()
    limit.cancel()
    return "".join(lines), process.wait()


def split(console):
    """What each program printed, its status, its seconds on the machine's clock, and the host's
    seconds since the start of the machine."""
    pattern = r"^@@ begin (\S+)\n(.*?)\n?^@@ end \1 (\d+) (\S+) (\S+)$"
    return {name: (text, int(status), float(seconds), float(host))
            for name, text, status, seconds, host in re.findall(pattern, console, re.M | re.S)}


def run(options):
    began = time.monotonic()
    if shutil.which(QEMU) is None:
        raise Problem(f"{QEMU} is not installed (Debian package qemu-system-arm); "
                      "./run test --no-usb leaves the virtual machine out")
    if not (pathlib.Path(options.machine) / "Image").exists():
        raise Problem("there is no kernel for the virtual machine; ./run usb fetches it")
    results = pathlib.Path(options.results)
    shutil.rmtree(results, ignore_errors=True)
    results.mkdir(parents=True)
    programs = listed_programs(options.list, options.clock)
    with tempfile.NamedTemporaryFile(dir=results) as initrd:
        write_archive(options, programs, initrd.name)
        archived = time.monotonic()
        size = os.path.getsize(initrd.name)
        console, status = boot(options, initrd.name)
    for name, (text, status, seconds, host) in split(console).items():
        (results / f"{name}.txt").write_text(text + "\n")
        (results / f"{name}.status").write_text(f"{status}\n")
        print(f"{seconds:9.3f} s  done at {host:6.1f} s  "
              f"{'ok' if status == 0 else f'status {status}'}  {name}")
    processor = os.times()
    print(f"{options.clock} clock: {time.monotonic() - began:.1f} s, of them {archived - began:.1f}"
          f" to pack {size / 1e6:.0f} MB; "
          f"{processor.children_user + processor.children_system:.1f} s of processor time")
    if "@@ done" not in console or "@@ problem" in console:
        print(console[-3000:])
        raise Problem("the virtual machine did not come to its end; above is its console. "
                      f"{QEMU} ended with status {status}")


def report(options):
    results = pathlib.Path(options.results)
    status = results / f"{options.program}.status"
    if not status.exists():
        raise Problem(f"{options.program} did not come to its end; see {results}/console.txt")
    print((results / f"{options.program}.txt").read_text())
    return int(status.read_text())


def main():
    parser = argparse.ArgumentParser()
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("prepare").add_argument("directory")
    runner = commands.add_parser("run")
    for name in ("machine", "build", "source", "list", "results", "clock"):
        runner.add_argument(f"--{name}", required=True,
                            choices=CLOCKS if name == "clock" else None)
    reporter = commands.add_parser("report")
    reporter.add_argument("--results", required=True)
    reporter.add_argument("program")
    options = parser.parse_args()
    try:
        if options.command == "prepare":
            prepare(options.directory)
        elif options.command == "run":
            run(options)
        else:
            return report(options)
    except Problem as problem:
        print(f"machine.py: {problem}", file=sys.stderr)
        return 1
    return 0


sys.exit(main())
