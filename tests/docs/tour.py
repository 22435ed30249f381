#!/usr/bin/python3
"""Does what a page of a tour says, and compares what is printed with what the page shows.
    tour.py PAGE DIRECTORY...

The directories come before PATH. Each block of the page that begins with

    ```console terminal=NAME

is typed into the terminal of that name, in the order of the page; without a name it is "main". With
the word "again" behind it, a command that has ended and not printed what is shown is run again for a
while: what it looks at comes a moment later. All terminals are in one directory, where the examples and the dissector are. In a block

    $ COMMAND        is run by a shell
    mcgw> LINE       is typed into the program that the terminal's last command started
    ^C               interrupts that program, and ^D ends its input: it has to end then
    any other line   is what is printed: "..." in it stands for anything, and as a whole line for any
                     number of lines; blanks count as one, and empty lines as none

What is shown has to be printed, in its order and with nothing between. A command has to end with
status 0 before the next one of its terminal, unless its block is over: then it goes on, and a later
block of the terminal shows what it prints from there on. What still runs at the end is interrupted.
"""

import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

PATIENCE = 60  # seconds, for a loaded machine
FOLDERS = ["examples", "wireshark"]  # of the tree, in the folder of the tour
BLOCK = re.compile(r"^```console(?P<options>[^\n]*)\n(?P<text>.*?)^```$", re.MULTILINE | re.DOTALL)


class Wrong(Exception):
    """The page does not say what happens."""


def tidy(line):
    return " ".join(line.split())


def fits(shown, printed):
    """Whether a printed line is what the page shows."""
    pieces = [re.escape(piece) for piece in tidy(shown).split("...")]
    return re.fullmatch(".*".join(pieces), tidy(printed)) is not None


def match(shown, printed):
    """How many of the printed lines are what is shown; nothing when they are not (yet)."""
    if not shown:
        return 0
    if shown[0].strip() == "...":
        for skipped in range(len(printed) + 1):
            rest = match(shown[1:], printed[skipped:])
            if rest is not None:
                return skipped + rest
        return None
    if not printed or not fits(shown[0], printed[0]):
        return None
    rest = match(shown[1:], printed[1:])
    return None if rest is None else rest + 1


class Program:
    """A command that runs, and what it has printed."""

    def __init__(self, command, directory, environment):
        self.command = command
        self.process = subprocess.Popen(
            ["bash", "-c", command], cwd=directory, env=environment, start_new_session=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            errors="replace")
        self.lines = []
        self.is_ending = False
        self.is_skipping = False
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            if line.strip():
                self.lines.append(line.rstrip("\n"))

    def type(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def signal(self, number):
        try:
            os.killpg(self.process.pid, number)
        except ProcessLookupError:
            pass

    def interrupt(self):
        """Once: a second time would be meant for a program that does not end."""
        if not self.is_ending:
            self.signal(signal.SIGINT)
        self.is_ending = True

    def expect(self, shown):
        """Waits for the lines, which are used up then."""
        shown = ["..."] * self.is_skipping + shown
        # How many lines are left out at the end shows when the next ones are expected.
        self.is_skipping = shown[-1].strip() == "..."
        end = time.monotonic() + PATIENCE
        while True:
            is_over = not self.reader.is_alive()
            printed = list(self.lines)
            used = match(shown, printed)
            if used is not None:
                del self.lines[:used]
                return
            if is_over or time.monotonic() > end:
                raise Wrong("%s\nshown:\n  %s\nprinted%s:\n  %s" % (
                    self.command, "\n  ".join(shown),
                    "" if is_over else " in %d seconds" % PATIENCE, "\n  ".join(printed)))
            time.sleep(0.02)

    def end(self, has_to_be_good=True):
        """Waits for the end."""
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise Wrong("%s\ndid not end in %d seconds" % (self.command, PATIENCE)) from None
        self.reader.join(PATIENCE)
        if has_to_be_good and status != 0:
            raise Wrong("%s\nended with status %d and:\n  %s" % (
                self.command, status, "\n  ".join(self.lines)))

    def kill(self):
        self.signal(signal.SIGKILL)
        self.process.wait()


class Terminal:
    """Runs one block after the other."""

    def __init__(self, directory, environment):
        self.directory = directory
        self.environment = environment
        self.program = None

    def run(self, block, again=False):
        shown = []
        for line in block.splitlines():
            prompt, _, rest = line.partition(" ")
            if prompt in ("$", "mcgw>", "^C", "^D"):
                self.settle(shown, again)
                shown = []
                self.do(prompt, rest)
            elif line.strip():
                shown.append(line)
        self.settle(shown, again)

    def settle(self, shown, again):
        if shown:
            if self.program is None:
                raise Wrong("nothing runs that could print: %s" % shown[0])
            end = time.monotonic() + (PATIENCE if again else 0)
            while not self.is_printed(shown, time.monotonic() > end):
                time.sleep(0.1)
                self.program.end(has_to_be_good=False)
                self.program = Program(self.program.command, self.directory, self.environment)

    def is_printed(self, shown, is_last):
        """Whether the program prints it; the last one has to."""
        try:
            self.program.expect(shown)
        except Wrong:
            if is_last:
                raise
            return False
        return True

    def do(self, prompt, text):
        if prompt == "$":
            if self.program is not None:
                self.finish()
            self.program = Program(text, self.directory, self.environment)
            return
        if self.program is None:
            raise Wrong("nothing runs that could take: %s %s" % (prompt, text))
        if prompt == "mcgw>":
            self.program.type(text)
        elif prompt == "^C":
            self.program.interrupt()
        else:
            self.program.process.stdin.close()
            self.program.is_ending = True

    def finish(self):
        self.program.end()
        self.program = None

    def interrupt(self):
        if self.program is not None:
            is_shown = self.program.is_ending
            self.program.interrupt()
            self.program.end(has_to_be_good=is_shown)

    def kill(self):
        if self.program is not None:
            self.program.kill()


def tour(page, directories):
    with open(page, encoding="utf-8") as file:
        blocks = list(BLOCK.finditer(file.read()))
    if not blocks:
        raise Wrong("%s has no block that begins with ```console" % page)
    with tempfile.TemporaryDirectory(prefix="mc-tour-") as directory:
        environment = dict(os.environ)
        root = os.path.dirname(os.path.dirname(os.path.abspath(page)))
        for folder in FOLDERS:
            os.symlink(os.path.join(root, folder), os.path.join(directory, folder))
        environment["PATH"] = ":".join(
            [os.path.abspath(each) for each in directories] + [environment["PATH"]])
        environment["XDG_RUNTIME_DIR"] = directory
        environment["XDG_STATE_HOME"] = directory
        environment["HOME"] = directory
        terminals = {}
        try:
            for block in blocks:
                named = re.search(r"terminal=(\S+)", block["options"])
                name = named.group(1) if named else "main"
                if name not in terminals:
                    terminals[name] = Terminal(directory, environment)
                terminals[name].run(block["text"], "again" in block["options"].split())
            for terminal in reversed(list(terminals.values())):
                terminal.interrupt()
        finally:
            for terminal in terminals.values():
                terminal.kill()
    print("%s: %d blocks in %d terminals are as shown" % (
        os.path.basename(page), len(blocks), len(terminals)))


def main():
    if len(sys.argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        tour(sys.argv[1], sys.argv[2:])
    except Wrong as wrong:
        print(wrong, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
