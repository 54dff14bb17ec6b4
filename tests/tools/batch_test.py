"""batch_test.py ORVIMG DATA [FILES [KILLS]]: a shelf of files of all kinds through orvimg batch, whole, killed at
random moments and resumed, and in shares by GNU parallel. The full size is 5000 20."""
import hashlib
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

orvimg, data = (os.path.abspath(p) for p in sys.argv[1:3])
count = int(sys.argv[3]) if len(sys.argv) > 3 else 300
kills = int(sys.argv[4]) if len(sys.argv) > 4 else 5
random.seed(7)


def check(holds, what):
    if not holds:
        sys.exit("failed: " + what)


def make_shelf(folder):
    sources = []
    for root, _, names in os.walk(data):
        sources += [os.path.join(root, n) for n in names if not n.endswith((".md", ".sh", ".py", ".ppm", ".pgm", ".pbm"))]
    sources.sort()
    for i in range(count):
        source = sources[i % len(sources)]
        content = open(source, "rb").read()
        kind = i % 10
        if kind == 7:
            content = content[: len(content) * 2 // 3]
        elif kind == 8:
            content = bytes(random.randrange(256) for _ in range(random.randrange(2000)))
        elif kind == 9:
            content = content[:40] + bytes(random.randrange(256) for _ in content[40:80]) + content[80:]
        name = "%05d" % i + ("" if i % 6 == 0 else os.path.splitext(source)[1])
        place = os.path.join(folder, "shelf %d" % (i % 7), "box" if i % 3 else "")
        os.makedirs(place, exist_ok=True)
        if i % 50 == 49:
            os.symlink("nowhere", os.path.join(place, name))  # can't be read
        else:
            open(os.path.join(place, name), "wb").write(content)


def tree(folder):
    found = {}
    for root, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(root, name)
            if os.path.exists(path):
                found[os.path.relpath(path, folder)] = hashlib.sha256(open(path, "rb").read()).hexdigest()
    return found


def command(out, *more):
    return [orvimg, "batch", "in", "-o", out, "--to", "bmp", "-q", "--jobs", "3", *more]


def statuses(report):
    found = {}
    for line in open(report, encoding="utf-8"):
        try:
            entry = json.loads(line)
        except ValueError:
            continue
        if "input" in entry:
            found[entry["input"]] = (entry["status"], tuple(entry["outputs"]))
    return found


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    make_shelf("in")
    before = tree("in")
    start = time.time()
    whole = subprocess.run(command("out", "--report", "run.jsonl"), stderr=subprocess.DEVNULL).returncode
    seconds = time.time() - start
    expected, told = tree("out"), statuses("run.jsonl")
    check(whole == 1, "failures give exit status 1, not %d" % whole)
    check(len(told) == count, "%d of %d inputs stand in the report" % (len(told), count))
    outputs = {os.path.relpath(o, "out") for _, written in told.values() for o in written}
    check(outputs == set(expected), "the report names what was written")
    kinds = {status for status, _ in told.values()}
    check({"ok", "damaged", "failed"} <= kinds, "the shelf has all kinds: %s" % kinds)
    for name, (status, written) in list(told.items())[:: max(1, count // 40)]:
        single = subprocess.run([orvimg, "convert", name, "single.bmp", "-q"], stderr=subprocess.DEVNULL).returncode
        wanted = {"ok": 0, "damaged": 3}.get(status)
        if len(written) == 1:
            check(single == wanted, "%s alone ends with %d, in the batch it is %s" % (name, single, status))
            same = open("single.bmp", "rb").read() == open(written[0], "rb").read()
            check(same, name + " differs from the single conversion")

    # Killed at random moments: nothing partial, and what is resumed ends as the whole run.
    process = None
    for kill in range(kills):
        process = subprocess.Popen(command("out2", "--resume", "run2.jsonl"), stderr=subprocess.DEVNULL, start_new_session=True)
        time.sleep(random.uniform(0.02, max(0.05, seconds / 2)))
        if kill % 2:
            workers = subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, text=True).stdout.split()
            for worker in workers[:1]:
                try:
                    os.kill(int(worker), signal.SIGKILL)
                except ProcessLookupError:
                    pass
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        for path, digest in (tree("out2") if os.path.isdir("out2") else {}).items():
            check(path not in expected or expected[path] == digest, path + " is partial after a kill")
    resumed = subprocess.run(command("out2", "--resume", "run2.jsonl"), stderr=subprocess.DEVNULL).returncode
    again = statuses("run2.jsonl")
    check(tree("out2") == expected, "the resumed run's outputs are those of the whole run, and nothing else is left")
    check(set(again) == set(told), "each input stands in the resumed report")
    wrong = [n for n in told if again[n][0] != told[n][0] and "signal" not in open("run2.jsonl").read()]
    check(not wrong, "statuses differ: %s" % wrong[:3])
    check(resumed == whole, "the resumed run ends with %d" % resumed)

    # A worker that dies costs what it had at hand, and nothing else.
    process = subprocess.Popen(command("out5", "--report", "run5.jsonl"), stderr=subprocess.DEVNULL)
    time.sleep(seconds / 4)
    for worker in subprocess.run(["pgrep", "-P", str(process.pid)], capture_output=True, text=True).stdout.split()[:1]:
        try:
            os.kill(int(worker), signal.SIGKILL)
        except ProcessLookupError:
            pass  # it had ended already
    check(process.wait() == whole, "a run that lost a worker goes on")
    lost = statuses("run5.jsonl")
    changed = [n for n in told if lost[n][0] != told[n][0]]
    check(len(changed) <= 1 and all(lost[n][0] == "failed" for n in changed), "a lost worker costs: %s" % changed[:5])
    kept = {path: digest for path, digest in expected.items() if path in tree("out5")}
    check(tree("out5") == kept and len(expected) - len(kept) <= 9, "a lost worker leaves whole outputs alone")

    # An interruption is told and can be resumed.
    process = subprocess.Popen(command("out3", "--resume", "run3.jsonl"), stderr=subprocess.DEVNULL)
    time.sleep(seconds / 4)
    process.send_signal(signal.SIGINT)
    status = process.wait()
    check(status == (130 if len(statuses("run3.jsonl")) < count else whole), "an interruption ends with %d" % status)

    # The recipe with GNU parallel: shares of a list, reports added up.
    recipe = ("find in ! -type d -print0 | parallel -0 --pipe -N %d -j2 "
              "'%s batch --files-from - -0 --base in -o out4 --to bmp -q --report run4-{#}.jsonl'" % (count // 4 + 1, orvimg))
    subprocess.run(["bash", "-c", recipe], stderr=subprocess.DEVNULL)
    check(tree("out4") == expected, "the shares by GNU parallel give the whole run's outputs")
    total = json.loads(subprocess.run(f"{orvimg} report --json run4-*.jsonl", shell=True, capture_output=True, text=True).stdout)
    counts = {kind: sum(status == kind for status, _ in told.values()) for kind in sorted(kinds)}
    check(total["inputs"] == count and all(total[k] == n for k, n in counts.items()), "the merged report has %s" % total)
    check(tree("in") == before, "no input is changed")
    print("%d files, %.1f s, %d kills: %s" % (count, seconds, kills, counts))
