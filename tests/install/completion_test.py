"""completion_test.py TREE: what bash, zsh and fish make of lines cut short, with the files that were installed."""
import os
import pty
import select
import subprocess
import sys
import tempfile
import time

tree = os.path.abspath(sys.argv[1])
os.environ["PATH"] = tree + "/bin:" + os.environ["PATH"]
os.environ.update(TERM="dumb", HOME=tempfile.gettempdir())
CASES = {"orvimg bat": "batch", "orvimg convert --dit": "--dither", "orvimg convert x.bmp --dither half": "halftone",
         "orvimg info scan": "scan 1.tif"}


def bash(line):
    script = ("source \"$0/share/bash-completion/completions/orvimg\"; read -ra COMP_WORDS <<<\"$1\";"
              "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orvimg; printf '%s\\n' \"${COMPREPLY[@]}\"")
    return subprocess.run(["bash", "-c", script, tree, line], capture_output=True, text=True).stdout


def fish(line):
    script = "source %s/share/fish/vendor_completions.d/orvimg.fish; complete -C '%s'" % (tree, line)
    return subprocess.run(["fish", "--no-config", "-c", script], capture_output=True, text=True).stdout


def zsh(line):
    """A line editor wants a terminal: the completed line, in quotes of the shell, is what it then prints."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execvp("zsh", ["zsh", "-f", "-i"])
    os.write(terminal, ("stty columns 200; PS1=; fpath=(%s/share/zsh/site-functions $fpath); autoload -U compinit; "
                        "compinit -u -D; show() { print \"<$BUFFER>\" }; zle -N show; bindkey '^X' show; print set-\\up\n" % tree).encode())
    shown, sent, end = "", False, time.time() + 20
    while time.time() < end and not ("<" + line.split()[0] in shown and ">" in shown.rpartition("<")[2]):
        if select.select([terminal], [], [], 0.1)[0]:
            shown += os.read(terminal, 4096).decode(errors="replace")
        if "set-up\r" in shown and not sent:
            sent = os.write(terminal, (line + "\t\x18").encode())
    os.kill(pid, 9)
    os.waitpid(pid, 0)
    return shown.rpartition("<")[2].partition(">")[0].strip().replace("\\ ", " ") + "\n"


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    open("scan 1.tif", "w").close()
    for shell in (bash, fish, zsh):
        for line, wanted in CASES.items():
            found = shell(line).splitlines()
            if len(found) != 1 or not found[0].replace("\\ ", " ").endswith(wanted):
                sys.exit("failed: %s completes '%s' to %s, not %s" % (shell.__name__, line, found, wanted))
