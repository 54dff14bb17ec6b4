"""program_test.py ORVIMG DATA: every argument changes what is written as it should (digests of outputs), damage is told,
and a target survives whatever ends the program. `--show` prints the digests instead of comparing them."""
import hashlib
import os
import signal
import subprocess
import sys
import tempfile
import time

orvimg, data = (os.path.abspath(p) for p in sys.argv[1:3])
PHOTO, FAX = data + "/demo/photo.bmp", data + "/tiff/fax-standard.tif"

# The command line; what digests to. Outputs named out* count with their names, else the standard output.
ARGUMENTS = """
convert PHOTO out.bmp --mediancut
convert PHOTO out.bmp --popularity
convert PHOTO out.bmp --gray
convert PHOTO out.bmp --dither diffusion-color
convert PHOTO out.bmp --dither bayer-color
convert PHOTO out.bmp --gray --dither diffusion
convert PHOTO out.bmp --gray --dither bayer
convert PHOTO out.bmp --gray --dither halftone
convert PHOTO out.bmp --flip x
convert PHOTO out.bmp --flip y
convert PHOTO out.bmp --rotate 90
convert PHOTO out.bmp --rotate 180
convert PHOTO out.bmp --rotate 270
convert PHOTO out.bmp --crop 10,20,31,17
convert PHOTO out.bmp --resize 33x44
convert PHOTO out.bmp --resize 50%
convert PHOTO out.bmp --invert
convert PHOTO out.bmp --contrast 40
convert PHOTO out.bmp --contrast -40
convert PHOTO out.bmp --brightness 16
convert PHOTO out.bmp --brightness -128
convert PHOTO out.bmp --sharpen 32
convert PHOTO out.bmp --sharpen 112
convert PHOTO out.bmp --blur 16
convert PHOTO out.bmp --blur 96
convert FAX out.bmp --page 2
convert FAX out.bmp --page 3
convert FAX out.pcx --page 2 --fine
convert FAX out.pcx --page 2 --standard
convert FAX out.tif --page 2 --compression t4 --standard
convert FAX out.tif --page 2 --compression t4 --no-rtc
convert FAX out.tif --page 2 --compression huffman
convert PHOTO out.tif --compression raw
convert PHOTO out.jpg --jpeg-step 0
convert PHOTO out.jpg --jpeg-step 40
convert PHOTO out.jpg --described
convert PHOTO out --format tga
convert PHOTO -o out --format 13
split FAX out-%03d.pcx
merge out.dcx PHOTO FAX --flip x
merge out.tif FAX --all-pages --compression t6
info FAX --page 2
info FAX --jsonl
view PHOTO --width 20
view FAX --width 20 --page 3
COLORTERM=truecolor view PHOTO --width 21
print FAX --to out.pwg --dpi 60
print PHOTO --to out.pwg --dpi 60 --bits 24 --scale 50 --at 20,30 --paper letter
print PHOTO --to out.pwg --dpi 60 --bits 8 --landscape --paper 100x80mm
""".strip().splitlines()
DIGESTS = """
c96650542b84 8a076e721a0f 687b6b0eb689 d40f7145adb3 1d90e94b4e4a e2fc08b2e837 88e93c37e0f7 977121ca2aef
48f153ec5e54 4784f2fe428a ee8e9e8bca68 da00d3e980a3 4266ab877794 d4081b665d79 a105d910ceaf c0177bba5877
f65d97805cc6 9c126f82aebb 3f8cca40f53f 9a3ef6a3e1d3 fc0d6d12b33f fde50fe576c9 a6069fa84629 224b49c2ab91
375221093fc4 24f1ed2af6de b2007463fb5e 75239299218c e1a2cfdaadff 03ba73f2c836 59a060590765 ea753d9208f8
fe66d24496bb 7889017aecc8 f231d48a4de4 92424b55cda6 82bdcf1f426a 718543314009 bbf73dd7ea73 055dbeec6f0d
7d60e7a64dd3 890a126fcd39 f4f4d4de337c bc38e4af8eb0 901809a19fcf 2935887a7b5d e91b81c0fc7b 6df2cf8dfb58
7d83ffaa893c
""".split()


def check(holds, what):
    if not holds:
        sys.exit("failed: " + what)


def run(line, **more):
    """Its exit status, standard output and error output."""
    words = [{"PHOTO": PHOTO, "FAX": FAX}.get(w, w) for w in line.split()]
    environment = dict(os.environ, COLORTERM="", TERM="xterm-256color")
    if "=" in words[0]:
        environment.update([words.pop(0).split("=")])
    done = subprocess.run([orvimg, *words], env=environment, capture_output=True, timeout=60, **more)
    return done.returncode, done.stdout, done.stderr.decode()


def digest_of(line):
    for name in os.listdir("."):
        os.remove(name)
    status, out, err = run(line)
    check(status == 0, "%s: %d %s" % (line, status, err))
    whole = hashlib.sha256(out.replace(data.encode(), b""))
    for name in sorted(n for n in os.listdir(".") if n.startswith("out")):
        whole.update(name.encode() + open(name, "rb").read())
    return whole.hexdigest()[:12]


def put(name, content):
    with open(name, "wb") as file:
        file.write(content)


def get(name):
    with open(name, "rb") as file:
        return file.read()


def arguments():
    found = [digest_of(line) for line in ARGUMENTS]
    if "--show" in sys.argv:
        print("\n".join(" ".join(found[i:i + 8]) for i in range(0, len(found), 8)))
        return
    check(len(set(found)) == len(found), "two lines give the same")
    wrong = [line for line, digest, wanted in zip(ARGUMENTS, found, DIGESTS, strict=True) if digest != wanted]
    check(not wrong, "other outputs than before:\n" + "\n".join(wrong))


def damage():
    photo = get(PHOTO)
    put("cut.bmp", photo[:20000])
    put("bare.bmp", photo[:54])
    put("v5.bmp", photo[:14] + bytes([124]) + photo[15:])
    words = "cut.bmp is damaged: 78 of 120 rows are missing, 1 is repaired: the data ends early"
    cases = [  # command line, exit status, what is said, what is left in the folder
        ("convert cut.bmp new.pcx", 3, words, True), ("convert cut.bmp new.pcx --strict", 1, words, False),
        ("split cut.bmp new.pcx%d", 2, "", False), ("split cut.bmp new%d.pcx", 3, words, True),
        ("merge new.dcx cut.bmp", 3, words, True), ("merge new.dcx cut.bmp --strict", 1, words, False),
        ("view cut.bmp", 3, words, False), ("view cut.bmp --strict", 1, words, False),
        ("info cut.bmp", 3, "damaged", False), ("info cut.bmp --strict", 1, "damaged", False),
        ("convert bare.bmp new.pcx", 1, "no row of it can be read", False),
        ("info v5.bmp", 1, "BMP header of 124 bytes, not read", False),
        ("info pipe", 1, "it is not an ordinary file (-2)", False),
    ]
    os.mkfifo("pipe")
    for line, wanted, said, leaves in cases:
        status, _, err = run(line)
        new = [n for n in os.listdir(".") if n.startswith("new")]
        check((status, bool(new)) == (wanted, leaves) and said in err, "%s: %d, %s, %s" % (line, status, new, err))
        for name in new:
            os.remove(name)
    with open("/dev/full", "wb") as full:
        status = subprocess.run([orvimg, "info", PHOTO], stdout=full, stderr=subprocess.DEVNULL).returncode
    check(status == 1, "full standard output is a failure")
    pipe = subprocess.run("cat '%s' | '%s' convert - - --format pcx | '%s' convert - back.bmp" % (PHOTO, orvimg, orvimg), shell=True)
    run("convert %s direct.bmp" % PHOTO)
    check(pipe.returncode == 0 and get("back.bmp") == get("direct.bmp"), "through pipes as through files")


def survival():
    """The target is the old or the new file, whole, and nothing else is left, whatever ends the program."""
    run("convert PHOTO big.bmp --resize 3000x2000")
    old = get("big.bmp")
    limited = ["bash", "-c", "ulimit -f 100; \"$0\" convert big.bmp big.bmp --rotate 90", orvimg]
    check(subprocess.run(limited, capture_output=True).returncode == 1, "a full disk is a failure")
    check(get("big.bmp") == old and os.listdir(".") == ["big.bmp"], "a full disk leaves the target")
    status, _, err = run("convert PHOTO big.bmp --no-clobber")
    check(status == 1 and get("big.bmp") == old, "--no-clobber: " + err)
    run("convert big.bmp new.bmp --flip x")
    new = get("new.bmp")
    os.remove("new.bmp")
    start = time.time()
    run("convert big.bmp big.bmp --flip x")
    took = time.time() - start
    put("big.bmp", old)
    seen = set()
    for step in range(24):
        process = subprocess.Popen([orvimg, "convert", "big.bmp", "big.bmp", "--flip", "x"], stderr=subprocess.DEVNULL)
        time.sleep(took * step / 20)
        process.send_signal([signal.SIGKILL, signal.SIGTERM, signal.SIGINT][step % 3])
        process.wait()
        left = get("big.bmp")
        check(left in (old, new), "a killed run leaves half a file")
        check(os.listdir(".") == ["big.bmp"], "a killed run leaves %s" % os.listdir("."))
        seen.add(left == new)
        put("big.bmp", old)
    check(False in seen, "no run was killed in time")


def memory():
    """A picture lies in memory once, also where it is printed on its side."""
    run("convert PHOTO big.jpg --resize 4000x4000")
    peaks = []
    for more in ([], ["--landscape"]):
        process = subprocess.Popen([orvimg, "print", "big.jpg", "--to", "out.pwg", "--bits", "24", *more])
        _, status, usage = os.wait4(process.pid, 0)
        check(status == 0, "printing ends with %d" % status)
        peaks.append(usage.ru_maxrss)
    check(abs(peaks[1] - peaks[0]) < 4096, "peaks of %s KB" % peaks)


for part in (arguments, damage, survival, memory):
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        part()
        os.chdir("/")
