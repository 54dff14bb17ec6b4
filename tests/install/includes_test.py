"""includes_test.py SOURCES: no include runs upwards from one folder of the product to another."""
import glob
import re
import sys

ALLOWED = {
    "platform": {"orvimg32"},
    "frame": {"platform", "orvimg32"},
    "pixels": {"frame", "platform", "orvimg32"},
    "formats": {"pixels", "frame", "platform", "orvimg32"},
    "ops": {"pixels", "frame", "platform", "orvimg32"},
    "output": {"ops", "formats", "pixels", "frame", "platform", "orvimg32"},
    "tools": {"orvimg32"},
    "include": {"orvimg32"},
}
FOLDERS = set(ALLOWED) | {"tests", "bench", "fuzz"}

wrong = []
files = 0
for folder, allowed in ALLOWED.items():
    for path in glob.glob(f"{sys.argv[1]}/{folder}/**/*", recursive=True):
        if not re.search(r"\.(h|cpp)$", path):
            continue
        files += 1
        for found in re.findall(r'#include "(\w+)/', open(path).read()):
            if found in FOLDERS | {"orvimg32"} and found != folder and found not in allowed:
                wrong.append(f"{path[len(sys.argv[1]) + 1:]} includes {found}/")
if files < 100:
    wrong.append(f"only {files} files seen")
print(files, "files")
print("\n".join(wrong))
sys.exit(1 if wrong else 0)
