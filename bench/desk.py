"""An X server for one benchmark, with a HOME of its own, and the programs in it; all of them are ended with it."""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

INHERITED_NOT = ("XDG_", "DBUS_", "WAYLAND_", "DESKTOP_")
NO_KEYS = '<?xml version="1.0"?><openbox_config xmlns="http://openbox.org/3.4/rc"><keyboard/></openbox_config>\n'
# The first opening shows no card and no offer.
SETTLED_USER = "[General]\novalinHowtoSeen=true\novalinAccessibilityOffered=true\n"


class Desk:
    ABOVE_EDITOR = 780  # lines of the screen, on sway

    def __init__(self, screen="1600x1000x24"):
        """`screen`: None leaves the display to somebody else."""
        signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that close() is reached
        self.processes = []
        self.home = tempfile.mkdtemp(prefix="ovalin-bench-")
        os.makedirs(self.path("run"), mode=0o700)
        kept = {name: value for name, value in os.environ.items() if not name.startswith(INHERITED_NOT)}
        self.environment = dict(kept, HOME=self.home, XDG_RUNTIME_DIR=self.path("run"), LC_ALL="C.UTF-8")
        if screen is None:
            return
        read, write = os.pipe()
        self.processes.append(subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", screen, "-nolisten", "tcp", "-noreset"],
            pass_fds=[write], stderr=subprocess.DEVNULL, env=self.environment))
        os.close(write)
        with os.fdopen(read) as number:
            self.environment["DISPLAY"] = ":" + number.readline().strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def path(self, relative):
        return os.path.join(self.home, relative)

    def write(self, relative, text):
        os.makedirs(os.path.dirname(self.path(relative)), exist_ok=True)
        with open(self.path(relative), "w") as file:
            file.write(text)
        return self.path(relative)

    def start(self, *command):
        """Starts a program; what it prints is appended to NAME.log in the home folder."""
        with open(self.path(os.path.basename(command[0]) + ".log"), "a") as log:
            process = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.processes.append(process)
        return process

    def end(self, process):
        process.terminate()
        try:
            process.wait(3)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
        self.processes.remove(process)

    def output(self, *command):
        return subprocess.run(command, env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True).stdout.strip()

    def window(self, window_class):
        for _ in range(600):
            found = self.output("xdotool", "search", "--onlyvisible", "--class", window_class).split()
            if found:
                time.sleep(1)  # until it has painted
                return found[0]
            time.sleep(0.05)
        raise SystemExit("no window of class " + window_class)

    def start_session(self, window_manager="openbox", compositor="none"):
        """A session bus, a window manager that leaves all keys free, a compositor."""
        address = "unix:path=" + self.path("run/bus")
        self.environment.update(DBUS_SESSION_BUS_ADDRESS=address, GSETTINGS_BACKEND="memory", GIO_USE_VFS="local", NO_AT_BRIDGE="0")
        self.start("dbus-daemon", "--session", "--nofork", "--address=" + address)
        while not os.path.exists(self.path("run/bus")):
            time.sleep(0.02)
        if window_manager == "openbox":
            self.start("openbox", "--config-file", self.write("openbox.xml", NO_KEYS))
        elif window_manager == "sway":
            self.start_sway()
        if compositor == "picom":
            self.start("picom", "--backend", "xrender", "--config", "/dev/null")
        time.sleep(1)

    def start_sway(self):
        """sway in a window that fills the X server. Programs belong to it from then on, but what drives the X server."""
        session = self.path("run/session")
        self.environment["GDK_BACKEND"] = "wayland"
        as_user = ["unshare", "-U", "--map-user=1000", "--map-group=1000"] if os.geteuid() == 0 else []
        outer = dict(self.environment, WLR_BACKENDS="x11", WLR_RENDERER="pixman")
        config = self.write("sway.conf", "output * resolution 1600x1000\ndefault_border none\nfocus_follows_mouse no\n"
                            f"for_window [app_id=mousepad] floating enable, resize set 600 200, move absolute position 0 {self.ABOVE_EDITOR}\n"
                            f"exec env >'{session}.part' && mv '{session}.part' '{session}'\n")
        with open(self.path("sway.log"), "w") as log:
            self.processes.append(subprocess.Popen([*as_user, "sway", "-c", config], env=outer, stdout=log, stderr=log))
        while not os.path.exists(session):
            time.sleep(0.05)
        with open(session) as file:
            told = dict(line.rstrip("\n").split("=", 1) for line in file if "=" in line)
        self.environment.update({name: told[name] for name in ("WAYLAND_DISPLAY", "SWAYSOCK")})

    def start_editor(self, selected):
        """An editor with the focus and as many selected bytes (0: an empty document)."""
        text = ("The quick brown fox jumps over the lazy dog again.\n" * (selected // 51 + 1))[:selected]
        self.start("mousepad", "--disable-server", self.write("letter.txt", text))
        if "SWAYSOCK" in self.environment:
            time.sleep(2)
            self.output("xdotool", "mousemove", "800", "300", "key", "ctrl+a" if selected else "Home")
            time.sleep(0.5)
            return None
        window = self.window("mousepad")
        self.output("xdotool", "windowmove", "--sync", window, "400", "200")
        self.output("xdotool", "windowsize", "--sync", window, "800", "600")
        self.output("xdotool", "windowfocus", "--sync", window, "mousemove", "800", "400")
        if selected:
            self.output("xdotool", "key", "ctrl+a")
        time.sleep(0.5)
        return window

    def start_ovalin(self, build):
        self.write(".config/ovalin/ovalin.conf", SETTLED_USER)
        log = self.path("ovalin.log")
        before = os.path.getsize(log) if os.path.exists(log) else 0
        process = self.start(os.path.join(build, "ovalin"))
        for _ in range(400):
            with open(log) as file:
                file.seek(before)
                if "Ovalin ready" in file.read():
                    time.sleep(1)  # the warm-up comes half a second after the start
                    return process
            time.sleep(0.05)
        raise SystemExit("Ovalin did not become ready, see " + log)

    def stragglers(self):
        """The processes of this desk that left their parents: known by our HOME in their environment."""
        mark = ("HOME=" + self.home + "\0").encode()
        known = {process.pid for process in self.processes} | {os.getpid()}
        found = set()
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/environ", "rb") as file:
                    if mark in file.read() and int(pid) not in known:
                        found.add(int(pid))
            except OSError:
                pass  # ended meanwhile, or not ours to read
        return found

    def end_stragglers(self, spared=frozenset()):
        for pid in self.stragglers() - spared:
            try:
                os.kill(pid, signal.SIGTERM)
            except ProcessLookupError:
                pass

    def close(self):
        for process in list(reversed(self.processes)):
            self.end(process)
        self.end_stragglers()
        shutil.rmtree(self.home, ignore_errors=True)


def table(title, header, rows):
    print("\n" + title)
    rows = [header] + [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in rows) for i in range(len(header))]
    for row in rows:
        print("  ".join(cell.ljust(width) if i == 0 else cell.rjust(width)
                        for i, (cell, width) in enumerate(zip(row, widths))), flush=True)
