#!/bin/sh
# vexo_cli_test.sh BIN_DIR: holds the vexo program to its promises with real files. Pictures small enough to be written
# here byte by byte tell whether pixels are right; larger ones go round through several formats and must come back equal.
# Off Windows the programs run under wine, with the caller's prefix.
set -u

if [ $# -ne 1 ]; then
    echo "usage: vexo_cli_test.sh BIN_DIR" >&2
    exit 2
fi
bin=$(cd -- "$1" && pwd) || exit 2
work=$(mktemp -d) || exit 2
trap 'rm -rf -- "$work"' EXIT
cd -- "$work" || exit 2

# Wine takes the encoding of file names from the locale.
LC_ALL=C.UTF-8
export LC_ALL

run() {
    program=$1
    shift
    case $(uname -s) in
        MINGW* | MSYS* | CYGWIN*) "$bin/$program.exe" "$@" ;;
        *) wine "$bin/$program.exe" "$@" ;;
    esac
}
vexo() { run vexo "$@"; }

passed=0
failed=0

# check NAME COMMAND...: one case
check() {
    name=$1
    shift
    if "$@"; then
        echo "ok      $name"
        passed=$((passed + 1))
    else
        echo "FAILED  $name"
        failed=$((failed + 1))
    fi
}

# ---- Pictures byte by byte ----------------------------------------------------------------------------------------

# shellcheck disable=SC2059
byte() { printf "\\$(printf '%03o' "$1")"; }
bytes() { for value; do byte "$value"; done; }
le32() { bytes $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }

# bmp WIDTH HEIGHT BITS COLOR_COUNT ROW_BYTES: the headers of a BMP file at 96 dpi
bmp_headers() {
    offset=$((54 + 4 * $4))
    printf BM
    le32 $((offset + $5 * $2))
    le32 0
    le32 $offset
    le32 40
    le32 "$1"
    le32 "$2"
    bytes 1 0 "$3" 0
    le32 0
    le32 $(($5 * $2))
    le32 3780
    le32 3780
    le32 0
    le32 0
}

# picture ROW...: a 24-bit BMP, rows from the top, a letter for each pixel
picture() {
    width=${#1}
    row_bytes=$(((width * 3 + 3) / 4 * 4))
    bmp_headers "$width" $# 24 0 $row_bytes
    row=$#
    while [ "$row" -gt 0 ]; do
        eval "letters=\$$row"
        while [ -n "$letters" ]; do
            case $letters in
                r*) bytes 0 0 255 ;;
                g*) bytes 0 255 0 ;;
                b*) bytes 255 0 0 ;;
                y*) bytes 0 255 255 ;;
                w*) bytes 255 255 255 ;;
                k*) bytes 0 0 0 ;;
            esac
            letters=${letters#?}
        done
        head -c $((row_bytes - width * 3)) /dev/zero
        row=$((row - 1))
    done
}

# Six pure colours, 3 x 2, in the Windows 16 colours.
colors_4() {
    bmp_headers 3 2 4 16 4
    for color in "0 0 0" "0 0 128" "0 128 0" "0 128 128" "128 0 0" "128 0 128" "128 128 0" "128 128 128" \
        "192 192 192" "0 0 255" "0 255 0" "0 255 255" "255 0 0" "255 0 255" "255 255 0" "255 255 255"; do
        # shellcheck disable=SC2086
        bytes $color 0
    done
    bytes $((9 * 16 + 10)) $((12 * 16)) 0 0
    bytes $((15 * 16)) $((11 * 16)) 0 0
}
# Black and white, 11 x 2.
lines_1() {
    bmp_headers 11 2 1 2 4
    bytes 0 0 0 0 255 255 255 0
    bytes 170 160 0 0 15 224 0 0
}

picture wky rgb >colors-24.bmp
colors_4 >colors-4.bmp
lines_1 >lines-1.bmp
picture kkkkwwwwwww wkwkwkwkwkw >lines-24.bmp

# converts IN EXPECTED OUT OPTION...: the result is EXPECTED, byte for byte
converts() {
    input=$1
    expected=$2
    output=$3
    shift 3
    vexo -q convert "$input" "$output" "$@" && cmp "$expected" "$output"
}

check "BMP to BMP is the same file" converts colors-24.bmp colors-24.bmp out.bmp
check "24 to 4 bits" converts colors-24.bmp colors-4.bmp out.bmp --depth 4
check "4 to 24 bits" converts colors-4.bmp colors-24.bmp out.bmp --depth 24
check "24 to 1 bit" converts lines-24.bmp lines-1.bmp out.bmp --depth 1
check "24 to 1 bit through compressed rows" converts lines-24.bmp lines-1.bmp out.bmp --depth 1 --storage compressed
check "1 to 24 bits" converts lines-1.bmp lines-24.bmp out.bmp --depth 24
check "red first leaves the same file" converts colors-24.bmp colors-24.bmp out.bmp --depth 32 --order rgb
check "a picture converted onto itself" converts out.bmp colors-4.bmp out.bmp --depth 4

# ---- Round trips --------------------------------------------------------------------------------------------------

run make_samples samples || exit 1

# same_by_all_roads IN DEPTH FORMAT...: IN at DEPTH is the same BMP straight and by way of each format
same_by_all_roads() {
    picture=$1
    depth=$2
    shift 2
    vexo -q convert "$picture" straight.bmp --depth "$depth" || return 1
    for format; do
        vexo -q convert "$picture" "road.$format" --depth "$depth" && vexo -q convert "road.$format" road.bmp &&
            cmp straight.bmp road.bmp || return 1
    done
}

for depth in 1 3 4 5 6 7 8 16 24 32; do
    check "3 pixels wide, depth $depth, by PNG and TIFF" same_by_all_roads colors-24.bmp $depth png tif
done
check "3 pixels wide, depth 2, by PNG" same_by_all_roads colors-24.bmp 2 png # a TIFF has its four grays among sixteen
for depth in 1 4 24; do
    check "photo at depth $depth by PNG and TIFF" same_by_all_roads samples/lake.jpg $depth png tif
done
check "photo at depth 8 by PNG, TIFF and GIF" same_by_all_roads samples/lake.jpg 8 png tif gif

compressed_rows_hold_the_page() {
    vexo -q convert samples/page.tif memory.bmp &&
        report=$(vexo convert samples/page.tif rows.bmp --storage compressed) &&
        cmp memory.bmp rows.bmp || return 1
    case $report in
        *"compressed rows took "[1-9]*" bytes instead of 273624"*) ;;
        *) echo "report: $report" && return 1 ;;
    esac
}
check "compressed rows hold a page and report their size" compressed_rows_hold_the_page

alpha_survives() {
    vexo -q convert samples/glass-alpha.png alpha.tif && vexo -q convert alpha.tif alpha.png &&
        vexo -q convert samples/glass-alpha.png direct.png && cmp direct.png alpha.png && cmp_info alpha.png "32 bits"
}
# cmp_info FILE WORDS: info mentions the words
cmp_info() {
    case $(vexo info "$1") in
        *"$2"*) ;;
        *) vexo info "$1" && return 1 ;;
    esac
}
check "alpha goes through PNG and TIFF" alpha_survives

# A GIF of two pixels and four colours: the second pixel's colour, a green, is transparent.
transparent_gif() {
    printf GIF89a
    bytes 2 0 1 0 145 0 0 255 0 0 0 200 0 0 0 255 255 255 255
    bytes 33 249 4 1 0 0 1 0
    bytes 44 0 0 0 0 2 0 1 0 0 2 2 68 10 0 59
}
transparency_survives() {
    transparent_gif >clear.gif
    for format in gif png; do
        cmp_info clear.gif "transparent colour" && vexo -q convert clear.gif "clear2.$format" &&
            cmp_info "clear2.$format" "transparent colour" || return 1
    done
    # Behind another palette the index would clear other pixels.
    vexo -q convert clear.gif opaque.png --palette fixed && ! cmp_info opaque.png "transparent" >/dev/null
}
check "a transparent colour goes through GIF and PNG" transparency_survives

# ---- Operations ---------------------------------------------------------------------------------------------------

# gives ROW... : OPTION...: the operations turn colors-24.bmp, "wky" above "rgb", into these rows
gives() {
    rows=
    while [ "$1" != : ]; do
        rows="$rows $1"
        shift
    done
    shift
    # shellcheck disable=SC2086
    picture $rows >expected.bmp
    vexo -q "$@" colors-24.bmp out.bmp && cmp expected.bmp out.bmp
}
picture y >dot.bmp
picture gg >green.bmp
picture bb >blue.bmp

check "flip" gives rgb wky : flip
check "a positive angle turns clockwise" gives rw gk by : rotate 90
check "operations in their order" gives by gk rw : rotate 90 flip
check "a slanting row leaves the fill colour" gives bwkyb rgbbb : shear 45 --fill '#0000ff'
check "resize takes the nearest pixels" gives wwkkyy wwkkyy rrggbb rrggbb : resize 6 4
check "crop beyond the edge" gives kyk gbk : crop 1,0,3,2
check "fill in one rectangle xor another" gives gkg ggg : \
    --region rect:0,0,2,2 --region xor:rect:1,0,3,2 fill '#00ff00'
check "fill all of one colour" gives bky rgb : --region 'colour:#ffffff' fill '#0000ff'
check "the region turns with the picture" gives bw bk by : --region rect:0,1,3,2 rotate 90 fill '#0000ff'
check "combine puts a picture at its place" gives wky rgy : combine dot.bmp --how copy --at 2,1
check "combine adds channels" gives wgy rgb : combine green.bmp --at 0,0

underlay_shows_through() {
    vexo -q underlay blue.bmp clear.gif under.png && vexo -q convert under.png under.bmp --depth 24 &&
        picture rb >expected.bmp && cmp expected.bmp under.bmp
}
check "underlay shows through the transparent colour" underlay_shows_through
alpha_comes_back() {
    vexo -q convert samples/moon-gray.png moon.bmp && vexo -q alpha --from moon.bmp moon.bmp alpha.png &&
        cmp_info alpha.png "32 bits" && vexo -q alpha alpha.png alpha.bmp && cmp moon.bmp alpha.bmp
}
check "alpha put in comes out" alpha_comes_back
dithered_pictures() {
    vexo -q dither --depth 4 --palette optimized samples/lake.jpg few.png && cmp_info few.png "4 bits" &&
        vexo -q dither --palette few.png --depth 4 samples/lake.jpg same.png &&
        vexo -q dither --method none --palette fixed lines-24.bmp lines.bmp && cmp lines-1.bmp lines.bmp &&
        vexo -q halftone --clustered samples/lake.jpg dots.png && cmp_info dots.png "black and white"
}
check "dither and halftone" dithered_pictures
text_stays_in_the_region() {
    vexo -q crop 0,0,40,40 samples/moon-gray.png dark.png && vexo -q fill '#000000' dark.png dark.bmp &&
        vexo -q --region rect:0,0,20,40 draw-text MMM --size 30 --colour '#ffffff' dark.bmp text.bmp &&
        ! cmp -s dark.bmp text.bmp && vexo -q crop 20,0,20,40 text.bmp right.bmp &&
        vexo -q crop 20,0,20,40 dark.bmp dark-right.bmp && cmp right.bmp dark-right.bmp
}
check "text is drawn, and only in the region" text_stays_in_the_region

# ---- Animation ----------------------------------------------------------------------------------------------------

# gif_frame LEFT WIDTH DISPOSAL TRANSPARENT DELAY DATA...: a frame one pixel high; TRANSPARENT is an index or -
gif_frame() {
    left=$1 width=$2 disposal=$3 transparent=$4 delay=$5
    shift 5
    case $transparent in
        -) bytes 33 249 4 $((disposal * 4)) "$delay" 0 0 0 ;;
        *) bytes 33 249 4 $((disposal * 4 + 1)) "$delay" 0 "$transparent" 0 ;;
    esac
    bytes 44 "$left" 0 0 0 "$width" 0 1 0 0 2 2 "$@" 0
}
# Red, green, blue and white on a canvas of 2 x 1.
moving_gif() {
    printf GIF89a
    bytes 2 0 1 0 145 0 0 255 0 0 0 255 0 0 0 255 255 255 255
    gif_frame 0 2 1 - 10 68 10  # red, green
    gif_frame 1 1 3 - 20 84 1    # blue on the right, then what was before
    gif_frame 0 1 2 - 0 84 1     # blue on the left, then background
    gif_frame 0 2 0 1 5 140 10   # transparent, blue
    byte 59
}
moving_gif >moving.gif
frames_are_listed() {
    [ "$(vexo frames moving.gif)" = "moving.gif: canvas 2 x 1
  1: 2 x 1 at 0,0, 100 ms, stays
  2: 1 x 1 at 1,0, 200 ms, then what was before
  3: 1 x 1 at 0,0, 0 ms, then background
  4: 2 x 1 at 0,0, 50 ms, stays, transparent 1" ]
}
states_are_composed() {
    vexo -q play --sheet states.bmp moving.gif || return 1
    left=8 # of the first cell
    for row in rg rb bg wb; do
        picture $row >expected.bmp
        vexo -q crop $left,8,2,1 states.bmp state.bmp && cmp expected.bmp state.bmp || return 1
        left=$((left + 168))
    done
}
the_clipboard_keeps_pictures() {
    vexo -q copy colors-24.bmp && vexo -q paste pasted.bmp && cmp colors-24.bmp pasted.bmp &&
        vexo -q copy lines-1.bmp && vexo -q paste pasted.bmp && cmp lines-1.bmp pasted.bmp
}
effects_are_shown() {
    vexo -q effects samples/lake.jpg effects.png && cmp_info effects.png "1016 x 908"
}
check "the clipboard keeps pictures" the_clipboard_keeps_pictures
check "every effect on a sheet" effects_are_shown
check "frames of an animation" frames_are_listed
check "states of an animation" states_are_composed

# ---- Names --------------------------------------------------------------------------------------------------------

unicode_names() {
    mkdir names && cp colors-24.bmp "names/größe 図.bmp" && cp lines-1.bmp names/b.bmp &&
        vexo -q convert "names/größe 図.bmp" "names/результат №1.PNG" && [ -f "names/результат №1.PNG" ] &&
        [ "$(vexo info "$work/names/größe 図.bmp")" = \
            "$work/names/größe 図.bmp: BMP, 3 x 2, 24 bits, blue first, 96 x 96 dpi, 1 frame, bottom up" ]
}
wildcards() {
    [ "$(vexo info 'names/*.bmp' 'names/*.p?g' | cut -d: -f1)" = "names/b.bmp
names/größe 図.bmp
names/результат №1.PNG" ]
}
check "names in other scripts" unicode_names
check "wildcards" wildcards

# ---- What info says -----------------------------------------------------------------------------------------------

says() {
    answer=$(vexo info "$1") && [ "$answer" = "$1: $2" ] && return 0
    echo "$answer"
    return 1
}
check "info: gray" says samples/moon-gray.png "PNG, 480 x 480, 8 bits, 256 grays from black, 96 x 96 dpi, 1 frame, bottom up"
check "info: page" says samples/page.tif "TIFF, 1240 x 1754, 1 bit, black and white, 150 x 150 dpi, 1 frame, bottom up"
check "info: animation" says samples/orbit.gif \
    "GIF, 320 x 240, 8 bits, palette of 256 colours, 96 x 96 dpi, 13 frames, bottom up"

# ---- What goes wrong ----------------------------------------------------------------------------------------------

# fails CODE WORDS ARGUMENT...: vexo ends with the code, says the words on standard error and nothing on standard output
fails() {
    code=$1
    words=$2
    shift 2
    vexo "$@" >answer 2>complaint
    status=$?
    case $(cat complaint) in
        "vexo: "*"$words"*) [ $status -eq "$code" ] && [ ! -s answer ] && return 0 ;;
    esac
    echo "exit $status:"
    cat answer complaint
    return 1
}
echo "This is no picture." >text.png
head -c 20000 samples/moon-gray.png >cut.png
mkdir empty

check "missing file" fails 1 "gone.png: not found" info gone.png
check "missing folder" fails 1 "gone/gone.png: no such folder" info gone/gone.png
check "not a picture" fails 1 "text.png: not a picture" info text.png
check "a picture cut short" fails 1 "cut.png: " convert cut.png empty/out.bmp
check "unknown output format" fails 1 "out.xyz: unknown format" convert colors-24.bmp empty/out.xyz
check "output into a missing folder" fails 1 "gone/out.png: cannot be written: no such folder" \
    convert colors-24.bmp gone/out.png
check "own palette of a 24-bit picture" fails 1 "has no palette of its own" \
    convert colors-24.bmp empty/out.png --palette own
check "no command" fails 2 "subcommand"
check "unknown option" fails 2 "--sharpen" convert colors-24.bmp empty/out.png --sharpen
check "unknown depth" fails 2 "--depth" convert colors-24.bmp empty/out.png --depth 9
check "order for 8 bits" fails 2 "--order" convert colors-24.bmp empty/out.png --depth 8 --order rgb
check "an operation without its values" fails 2 "HEIGHT" resize 5
check "a shape that is none" fails 2 "blob" --region blob:1 flip colors-24.bmp empty/out.png
check "a missing second picture" fails 1 "gone.png: not found" combine gone.png colors-24.bmp empty/out.png

goes_on_after_a_failure() {
    vexo info gone.png colors-24.bmp >answer 2>complaint
    [ $? -eq 1 ] && [ "$(wc -l <answer)" -eq 1 ] && [ "$(wc -l <complaint)" -eq 1 ]
}
nothing_left_behind() {
    [ -z "$(ls -A empty)" ] && [ ! -e gone ] && [ -z "$(find . -name '*.tmp')" ]
}
failure_keeps_the_old_file() {
    cp colors-4.bmp kept.bmp
    fails 1 "cut.png: " convert cut.png kept.bmp && cmp colors-4.bmp kept.bmp
}
help_and_version() {
    vexo --help | grep -q convert && vexo convert --help | grep -q -- --depth && vexo --version | grep -q '7\.0'
}
check "info goes on after a failure" goes_on_after_a_failure
check "failed runs leave no files" nothing_left_behind
check "a failed run keeps the old output" failure_keeps_the_old_file
check "help and version" help_and_version

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
