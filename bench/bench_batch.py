"""bench_batch.py ORVIMG DATA [PAGES [BITMAPS]]: how many files a second a batch converts with one worker and with two,
beside GraphicsMagick's and ImageMagick's batches on the first of these files, 500 at most, since they need minutes for
more. What limits all of them is the file system."""
import os
import shutil
import subprocess
import sys
import tempfile
import time

orvimg, data = (os.path.abspath(p) for p in sys.argv[1:3])
pages = int(sys.argv[3]) if len(sys.argv) > 3 else 2000
bitmaps = int(sys.argv[4]) if len(sys.argv) > 4 else 200


def seconds_of(command):
    shutil.rmtree("out", ignore_errors=True)
    os.mkdir("out")
    start = time.time()
    subprocess.run(command, shell=True, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.time() - start


def copies(source, folder, ending, count):
    os.mkdir(folder)
    for i in range(count):
        shutil.copy(source, "%s/%05d%s" % (folder, i, ending))


def compare(title, folder, count, to, peers):
    one, two = (min(seconds_of(f"{orvimg} batch {folder} -o out --to {to} -q --jobs {jobs}") for _ in range(3)) for jobs in (1, 2))
    print("%s: one worker %.0f a second, two %.0f, %.2f times" % (title, count / one, count / two, one / two))
    for name, command in peers:
        if shutil.which(name.split()[0]):
            given = min(count, 500)
            rate = given / seconds_of(command % ("$(ls %s/* | head -%d)" % (folder, given)))
            print("  %s %.0f a second; ours %.1f times" % (name, rate, count / two / rate))


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    # A page of text as a fax program has it, and a photograph.
    text = "/Courier findfont 11 scalefont setfont 0 1 59 { 50 exch 13 mul 30 add moveto (%s) show } for showpage"
    open("page.ps", "w").write("%!\n" + text % ("The quick brown fox jumps over the lazy dog. 0123456789 " * 2)[:78])
    subprocess.run("gs -q -dNOPAUSE -dBATCH -sDEVICE=tiffg4 -r204x196 -g1728x2200 -sOutputFile=page.tif page.ps", shell=True,
                   check=True)
    subprocess.run([orvimg, "convert", os.path.join(data, "demo/photo.bmp"), "photo.bmp", "--resize", "800x600"], check=True)
    copies("page.tif", "pages", ".tif", pages)
    copies("photo.bmp", "bitmaps", ".bmp", bitmaps)
    compare("T.6 pages to PCX", "pages", pages, "pcx",
            [("gm batch", "for f in %s; do echo convert $f out/${f#*/}.pcx; done | gm batch -"),
             ("mogrify (ImageMagick)", "mogrify -path out -format pcx %s")])
    compare("BMP to TIFF LZW", "bitmaps", bitmaps, "tiff-lzw",
            [("gm batch", "for f in %s; do echo convert $f -compress LZW out/${f#*/}.tif; done | gm batch -"),
             ("mogrify (ImageMagick)", "mogrify -path out -compress LZW -format tif %s")])
