"""exports_test.py LIBRARY HEADER_FOLDER [SANITIZERS]: the library exports exactly the documented functions of its
public headers, bears its soname, and needs no library but the C runtime."""
import glob
import re
import subprocess
import sys

library, headers = sys.argv[1:3]
sanitized = len(sys.argv) > 3


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


failures = []
declared = set()
for path in glob.glob(headers + "/*.h"):
    text = open(path).read()
    for found in re.finditer(r"(\*/\n)?^ORV_API\s[^;]*?(\w+)\(", text, re.M):
        declared.add(found.group(2))
        if not found.group(1):
            failures.append("no comment: " + found.group(2))
        if not re.match(r"IMG_|IMGLOW_|LibInitCallBack$|orv_", found.group(2)):
            failures.append("not the library's kind of name: " + found.group(2))

exported = {line.split()[-1] for line in output("nm", "-D", "--defined-only", library).splitlines()}
exported = {name.split("@")[0] for name in exported}
if sanitized:
    exported = {name for name in exported if not re.match(r"_*(asan|ubsan|odr_asan|start|stop|sancov)_|\.?_ZT", name)}
failures += ["declared, not exported: " + name for name in sorted(declared - exported)]
failures += ["exported, not declared: " + name for name in sorted(exported - declared)]
if len(declared) < 20:
    failures.append("hardly any declaration found")

dynamic = output("readelf", "-d", library)
if not re.search(r"SONAME.*\[liborvimg32\.so\.1\]", dynamic):
    failures.append("no soname liborvimg32.so.1")
needed = set(re.findall(r"NEEDED.*\[(.*?)\]", dynamic))
if not sanitized:
    failures += ["needs " + name for name in sorted(needed - {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2", "ld-linux.so.2"})]

print(len(declared), "functions; needs", ", ".join(sorted(needed)))
print("\n".join(failures))
sys.exit(1 if failures else 0)
