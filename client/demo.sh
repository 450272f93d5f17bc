#!/bin/bash
# Cuts the person out of the sample photograph with the real host, with both networks, and leaves in OUT: photograph.png,
# for each network mask-SIZE.png, cut-out-SIZE.png (over a new background), blurred-SIZE.png (over its own, blurred) and
# transparent-SIZE.png, and found.png (mask, face box, landmarks). Then tells the faces and measures.
# usage: client/demo.sh BIN MODELS OUT    folders of the programs, of sample.png, and for the pictures
set -euo pipefail
bin=$1
photograph=$2/sample.png
out=$3
sizes=(256x144 640x360)

mkdir -p "$out"
cp "$photograph" "$out/photograph.png"
for capacity in 0 1; do
    size=${sizes[capacity]}
    "$bin/zelclient" segment "$out/photograph.png" --type 3 --capacity "$capacity" --background '#2e7d6b' \
        --out "$out/cut-out-$size.png" --mask-out "$out/mask-$size.png" --cutout "$out/transparent-$size.png"
    "$bin/zelclient" segment "$out/photograph.png" --type 3 --capacity "$capacity" --background blur \
        --out "$out/blurred-$size.png"
done
"$bin/zelclient" ladon "$out/photograph.png" --capacity 1 --out "$out/found.png"
"$bin/zelclient" faces "$out/photograph.png" --json
echo
"$bin/zelclient" bench "$photograph" --frames 500
echo
echo "The pictures are in $out:"
ls "$out"
