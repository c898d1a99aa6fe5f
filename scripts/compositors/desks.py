"""Wayland compositors without a screen, each with a HOME, runtime folder and bus of its own, and hands and eyes on it."""
import glob
import os
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
sys.path.insert(0, os.path.join(ROOT, "bench"))
from desk import Desk  # noqa: E402

SIZE = (1280, 800)


class NotRun(Exception):
    """Why something could not be driven: says nothing about the program."""


def until(condition, seconds=10.0, step=0.05):
    end = time.monotonic() + seconds
    while not (found := condition()) and time.monotonic() < end:
        time.sleep(step)
    return found


class WaylandDesk(Desk):
    """A compositor with two outputs side by side, Ovalin and the stand-in of the tests as its agent."""

    name = program = ""
    desktop = ""
    command = ()

    def __init__(self, build):
        super().__init__(screen=None)
        self.build = build
        self.hands = None
        try:
            if not shutil.which(self.program):
                raise NotRun(f"{self.program} is not installed")
            self.begin()
        except BaseException:
            self.close()
            raise

    def begin(self):
        for name in ("DISPLAY", "XAUTHORITY", "QT_QPA_PLATFORM", "GDK_BACKEND"):
            self.environment.pop(name, None)
        folders = [each for each in os.environ["PATH"].split(":") if not os.path.exists(os.path.join(each, "claude"))]
        self.environment.update(
            PATH=":".join([self.path(".local/bin")] + folders), XDG_SESSION_TYPE="wayland", XDG_CURRENT_DESKTOP=self.desktop,
            LIBGL_ALWAYS_SOFTWARE="1", DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent/bus",
            LSAN_OPTIONS="detect_leaks=0", UBSAN_OPTIONS="print_stacktrace=1", FAKE_CLAUDE_DIR=self.path("agent"))
        self.start_session(window_manager="none")
        self.output("gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path", "/org/a11y/bus", "--method",
                    "org.freedesktop.DBus.Properties.Set", "org.a11y.Status", "IsEnabled", "<true>")
        self.run_agent()
        self.allow("hands", os.path.realpath(os.path.join(self.build, "hands")))
        self.allow("ovalin-agent", os.path.realpath(os.path.join(self.build, "libexec/ovalin-agent")))
        self.start_compositor()
        if not until(lambda: os.path.exists(self.path("session")), 20):
            raise NotRun(f"{self.name} does not start")
        time.sleep(0.5)
        with open(self.path("session")) as file:
            for line in file:
                name, _, value = line.rstrip("\n").partition("=")
                if name in ("WAYLAND_DISPLAY", "DISPLAY", "SWAYSOCK", "XAUTHORITY") and value:
                    self.environment[name] = value
        self.start_ovalin(self.build)
        self.begin_hands()

    def run_agent(self):
        for relative, text in ((".claude/bin/capture-router.sh", "#!/bin/sh\n"), (".local/bin/claude", None)):
            if text is None:
                with open(os.path.join(ROOT, "tests/agent/fake-claude")) as file:
                    text = file.read()
            os.chmod(self.write(relative, text), 0o755)

    def allow(self, name, program):
        """What installing a program does: KWin opens its restricted interfaces by that."""
        with open(os.path.join(ROOT, "resources/applications/ovalin-agent.desktop.in")) as file:
            self.write(f".local/share/applications/{name}.desktop", file.read().replace("@OVALIN_AGENT@", program))

    def start_compositor(self):
        session = self.write("session.sh", f"#!/bin/sh\nenv > {self.path('whole')}; mv {self.path('whole')} {self.path('session')}\nexec sleep 100000\n")
        os.chmod(session, 0o755)
        self.start(*[part.format(session=session, home=self.home, width=SIZE[0], height=SIZE[1]) for part in self.command])

    def told(self, socket, seconds):
        """For one that starts no program of ours: its log names its X server."""
        def display():
            with open(self.path(self.program + ".log")) as file:
                return re.search(r"display (:\d+)", file.read())
        if until(lambda: os.path.exists(self.path("run/" + socket)), seconds) and (found := until(display, 3)):
            key = (glob.glob(self.path("run/.mutter-Xwaylandauth.*")) + [""])[0]
            self.write("session", f"WAYLAND_DISPLAY={socket}\nDISPLAY={found[1]}\nXAUTHORITY={key}\n")

    def hands_command(self):
        return [os.path.join(self.build, "hands"), str(2 * SIZE[0]), str(SIZE[1])]

    def begin_hands(self):
        self.hands = subprocess.Popen(self.hands_command(), env=self.environment, text=True,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if self.hands.stdout.readline() != "ready\n":
            self.why_no_hands = self.hands.stderr.read().strip()
            self.hands = None

    def do(self, *words):
        """A movement of the hands: see tests/support/hands."""
        if not self.hands:
            raise NotRun(self.why_no_hands or "nobody types and points there")
        self.hands.stdin.write(" ".join(map(str, words)) + "\n")
        self.hands.stdin.flush()
        self.hands.stdout.readline()

    def picture(self, file, output=0):
        """The output as a PNG; False where nobody takes one."""
        return False

    def log(self):
        with open(self.path("ovalin.log")) as file:
            return file.read()

    def close(self):
        if getattr(self, "hands", None):
            self.hands.stdin.close()
            self.hands.wait()
        super().close()
        shutil.rmtree(self.home, ignore_errors=True)


class Sway(WaylandDesk):
    name, program, desktop = "sway", "sway", "sway"
    command = ("sway", "-c", "{home}/sway.conf")

    def start_compositor(self):
        self.environment.update(WLR_BACKENDS="headless", WLR_RENDERER="pixman", WLR_LIBINPUT_NO_DEVICES="1", WLR_HEADLESS_OUTPUTS="2")
        self.write("sway.conf", "".join(f"output HEADLESS-{1 + at} resolution {SIZE[0]}x{SIZE[1]} position {at * SIZE[0]} 0\n" for at in (0, 1))
                   + f"default_border pixel 1\nfocus_follows_mouse no\nxwayland force\nexec {self.path('session.sh')}\n")
        if os.geteuid() == 0:  # it does not run as root; in a user namespace it does not seem to
            self.command = ("unshare", "-U", "--map-user=1000", "--map-group=1000") + self.command
        super().start_compositor()

    def picture(self, file, output=0):
        self.output("grim", "-o", f"HEADLESS-{1 + output}", file)
        return os.path.exists(file)


class KWin(WaylandDesk):
    name, program, desktop = "KWin", "kwin_wayland", "KDE"
    command = ("{home}/kwin_wayland", "--virtual", "--socket", "wayland-k", "--width", "{width}", "--height", "{height}",
               "--output-count", "2", "--xwayland", "--no-lockscreen", "--exit-with-session", "{session}")

    def start_compositor(self):
        # Its copies have no capabilities, which a container may refuse.
        shutil.copy(shutil.which("kwin_wayland"), self.path("kwin_wayland"))
        shutil.copy(os.path.realpath(sys.executable), self.path("eyes"))
        self.allow("eyes", self.path("eyes"))
        # KRunner has Alt+Space there.
        self.write(".config/kglobalshortcutsrc", "[org.kde.krunner.desktop]\n_launch=none,Alt+Space\\tAlt+F2\\tSearch,KRunner\n")
        super().start_compositor()

    def picture(self, file, output=0):
        script = os.path.join(ROOT, "scripts/compositors/kwin_picture.py")
        subprocess.run([self.path("eyes"), script, f"Virtual-{output}", file],
                       env=dict(self.environment, PYTHONHOME=sys.base_prefix), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return os.path.exists(file)


class Gnome(WaylandDesk):
    name, program, desktop = "GNOME Shell", "gnome-shell", "GNOME"
    # For our own pictures of the screen; what the program may do is the same.
    command = ("gnome-shell", "--headless", "--unsafe-mode", "--virtual-monitor", "{width}x{height}", "--wayland-display", "wayland-g")

    def start_compositor(self):
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = self.environment["DBUS_SESSION_BUS_ADDRESS"]
        super().start_compositor()
        self.told("wayland-g", 30)

    def hands_command(self):
        return [sys.executable, os.path.join(ROOT, "scripts/compositors/gnome_hands.py"), str(SIZE[0]), str(SIZE[1])]

    def begin_hands(self):
        super().begin_hands()
        self.do("press Escape")  # it begins with the overview

    def picture(self, file, output=0):
        if output:
            return False
        service = "org.gnome.Shell.Screenshot"
        self.output("gdbus", "call", "--session", "--dest", service, "--object-path", "/org/gnome/Shell/Screenshot", "--method",
                    service + ".Screenshot", "false", "false", file)
        return os.path.exists(file)


class Weston(WaylandDesk):
    name, program, desktop = "Weston", "weston", "Weston"
    command = ("weston", "--backend=headless-backend.so", "--socket=wayland-w", "--xwayland", "--width={width}", "--height={height}")

    def start_compositor(self):
        super().start_compositor()
        self.told("wayland-w", 10)


class NotPackaged:
    """One that is not to be had here; a row of its own all the same."""

    def __init__(self, name, program):
        self.name, self.program = name, program

    def __call__(self, _):
        raise NotRun(f"{self.program} is not installed, and Debian 12 has no package of it")


ALL = (Sway, KWin, Gnome, Weston, NotPackaged("labwc", "labwc"))
