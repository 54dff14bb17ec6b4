#!/bin/bash
# Makes the pictures of this folder with libjpeg-turbo's tools from a part of the demo's photograph; those in
# described/ are the same files with this system's frame header.
set -euo pipefail
cd "$(dirname "$0")"
motif=$(mktemp)
trap 'rm -f "$motif"' EXIT
bmptopnm ../demo/photo.bmp 2>/dev/null | pamcut -left 40 -top 50 -width 75 -height 53 >"$motif"

make() { cjpeg "${@:2}" -outfile "$1.jpg" "$motif"; }
for sampling in 1x1 2x1 1x2 2x2 4x1 4x2; do
    make "colour-$sampling" -quality 85 -sample $sampling
done
make colour-2x2-2x1-1x2 -quality 85 -sample 2x2,2x1,1x2
make colour-3x1 -quality 85 -sample 3x1
make colour-fine -quality 100 -sample 1x1
make colour-coarse -quality 5 -sample 2x1
make colour-wide-tables -quality 1 -sample 2x1 # entries of 16 bits
make colour-optimised -quality 85 -optimize -sample 2x1
make colour-restarts -quality 85 -restart 2B -sample 2x1
make colour-restart-rows -quality 85 -restart 1 -sample 2x2 -optimize
make colour-rgb -quality 85 -rgb
make colour-scans -quality 85 -sample 2x2,2x1,1x2 -restart 7B -scans <(printf '2;\n0;\n1;\n')
make colour-scans-of-two -quality 85 -sample 2x2 -restart 1 -optimize -scans <(printf '1 2;\n0;\n')
make gray -quality 85 -grayscale
make gray-sampled -quality 85 -grayscale -sample 2x2
make gray-restarts -quality 85 -grayscale -restart 3B
jpegtran -optimize -rotate 90 -trim -outfile colour-turned.jpg colour-2x1.jpg
jpegtran -grayscale -outfile gray-of-colour.jpg colour-2x2.jpg

mkdir -p described
for name in colour-{1x1,2x1,1x2,2x2,4x1,fine,coarse,wide-tables,optimised,restarts,turned} gray{,-restarts}; do
    ../../../scripts/jpeg_frame describe $name.jpg described/$name.jpg
done

# Kinds that are told of and not read.
mkdir -p unread
cjpeg -progressive -outfile unread/progressive.jpg "$motif"
cjpeg -arithmetic -outfile unread/arithmetic.jpg "$motif"
