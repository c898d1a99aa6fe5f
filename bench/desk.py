"""An X server for one benchmark, and the programs in it; all of them are ended with it."""
import os
import subprocess
import time


class Desk:
    def __init__(self, screen="1600x1000x24"):
        read, write = os.pipe()
        self.processes = [subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", screen, "-nolisten", "tcp", "-noreset"],
            pass_fds=[write], stderr=subprocess.DEVNULL)]
        os.close(write)
        with os.fdopen(read) as number:
            self.environment = dict(os.environ, DISPLAY=":" + number.readline().strip(), LC_ALL="C.UTF-8")

    def start(self, *command):
        process = subprocess.Popen(command, env=self.environment,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.processes.append(process)
        return process

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

    def close(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()


def table(title, header, rows):
    print("\n" + title)
    rows = [header] + [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in rows) for i in range(len(header))]
    for row in rows:
        print("  ".join(cell.ljust(width) if i == 0 else cell.rjust(width)
                        for i, (cell, width) in enumerate(zip(row, widths))))
