#!/usr/bin/env python3
"""Serial lines for the Windows tests under Wine (run by scripts/windows-test).

Usage: test-lines.py DOSDEVICES READY_FILE

Makes two pseudo-terminals and links them in Wine's DOSDEVICES folder:
  com42  nothing answers: what the program sends is read and dropped;
  com43  echoes every byte; once it has heard "bye!" it goes away as a pulled
         USB converter does (its far side closes and the link goes), and a
         moment later a fresh line takes its place under the same name.
Writes READY_FILE when both links are in place; runs until killed.
"""
import os
import pty
import select
import sys
import time
import tty


class Line:
    def __init__(self, folder, name):
        self.link = os.path.join(folder, name)
        self.master = self.slave = -1
        self.heard = b""
        self.open()

    def open(self):
        # The slave stays open here as well, so the master never reads a
        # hang-up while the program has the port closed.
        self.master, self.slave = pty.openpty()
        tty.setraw(self.slave)  # no echo of its own, whatever the program sets
        tmp = self.link + ".tmp"
        if os.path.lexists(tmp):
            os.remove(tmp)
        os.symlink(os.ttyname(self.slave), tmp)
        os.rename(tmp, self.link)
        self.heard = b""

    def vanish(self):
        if os.path.lexists(self.link):
            os.remove(self.link)
        os.close(self.master)
        os.close(self.slave)
        self.master = self.slave = -1


def main():
    folder, ready = sys.argv[1], sys.argv[2]
    silent = Line(folder, "com42")
    echo = Line(folder, "com43")
    with open(ready + ".tmp", "w") as f:
        f.write("ready\n")
    os.rename(ready + ".tmp", ready)
    while True:
        if echo.master < 0:
            time.sleep(0.3)
            echo.open()
        readable, _, _ = select.select([silent.master, echo.master], [], [], 1.0)
        for fd in readable:
            try:
                data = os.read(fd, 4096)
            except OSError:
                continue
            if fd != echo.master:
                continue
            os.write(echo.master, data)
            echo.heard = (echo.heard + data)[-8:]
            if b"bye!" in echo.heard:
                time.sleep(0.05)
                echo.vanish()


if __name__ == "__main__":
    main()
