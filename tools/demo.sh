#!/bin/sh
# demo.sh BIN_DIR OUT_DIR [FILE...]: runs vexo over pictures and lays the results out in OUT_DIR/index.html.
#
# Without FILEs the project's own samples are made first. Each picture is copied into OUT_DIR, so that the sheet is
# complete in itself; names that clash get a number. Off Windows the programs run under wine, with the caller's prefix.
set -u

if [ $# -lt 2 ]; then
    echo "usage: demo.sh BIN_DIR OUT_DIR [FILE...]" >&2
    exit 2
fi

bin=$1
mkdir -p -- "$2" || exit 1
out=$(cd -- "$2" && pwd) || exit 1
shift 2

# Wine takes the encoding of file names from the locale.
case ${LC_ALL:-${LC_CTYPE:-${LANG:-}}} in
    *UTF-8* | *utf8* | *UTF8* | *utf-8*) ;;
    *) LC_ALL=C.UTF-8 && export LC_ALL ;;
esac

run() {
    program=$1
    shift
    case $(uname -s) in
        MINGW* | MSYS* | CYGWIN*) "$bin/$program.exe" "$@" ;;
        *) wine "$bin/$program.exe" "$@" ;;
    esac
}

escape() {
    printf '%s' "$1" | sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

bytes_of() {
    wc -c <"$1" | tr -d ' '
}

# A name that every file system and every link can carry: what could confuse them becomes an underscore.
safe_name() {
    printf '%s' "$1" | LC_ALL=C tr -c 'A-Za-z0-9.\200-\377-' '_'
}

fail() {
    echo "demo: $1" >&2
    failures=$((failures + 1))
}

# ---- The page -----------------------------------------------------------------------------------------------------

begin_page() {
    cat <<'EOF'
<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>vexo contact sheet</title>
<style>
  :root { color-scheme: light dark; --edge: #8885; --soft: #777; }
  body { font: 15px/1.45 system-ui, sans-serif; margin: 2rem auto; padding: 0 1.5rem; max-width: 1500px; }
  h1 { font-size: 1.5rem; margin: 0; }
  h2 { font-size: 1.1rem; margin: 2.5rem 0 0; padding-top: 1.2rem; border-top: 1px solid var(--edge); }
  p { color: var(--soft); margin: .2rem 0 1rem; }
  .sheet { display: grid; grid-template-columns: repeat(auto-fill, minmax(220px, 1fr)); gap: 1.2rem; }
  figure { margin: 0; }
  figure a { display: flex; height: 210px; align-items: center; justify-content: center; border: 1px solid var(--edge);
             background: repeating-conic-gradient(#0001 0 25%, #fff1 0 50%) 0 0 / 20px 20px; }
  figure.original a { outline: 2px solid #48c; }
  img { max-width: 100%; max-height: 100%; }
  figcaption { font-size: .85rem; color: var(--soft); margin-top: .35rem; overflow-wrap: anywhere; }
  figcaption b { color: CanvasText; font-weight: 600; display: block; }
</style>
<h1>vexo contact sheet</h1>
<p>Every result went through the library. The original stands first in each row; select a picture to open its file.</p>
EOF
}

# figure CLASS TITLE FILE SHOWN_FILE WORDS, files relative to the page
figure() {
    printf '<figure class="%s"><a href="%s"><img loading="lazy" src="%s" alt="%s"></a>' "$1" "$3" "$4" "$(escape "$2")"
    printf '<figcaption><b>%s</b>%s, %s bytes</figcaption></figure>\n' \
        "$(escape "$2")" "$(escape "$5")" "$(bytes_of "$out/$3")"
}

# ---- One picture --------------------------------------------------------------------------------------------------

# convert TITLE RESULT OPTION...: one result and its figure
convert() {
    title=$1
    result=$2
    shift 2
    if report=$(run vexo convert "$@" -- "$copy" "$out/$result"); then
        figure result "$title" "$result" "$result" "${report#"$out/$result: "}" >>"$page"
    else
        fail "$file: no result \"$title\""
    fi
}

# Sets stem and copy: a free name in OUT_DIR for the picture, and the copy made there.
copy_original() {
    base=$(safe_name "$(basename -- "$file")")
    extension=
    case $base in
        ?*.*) extension=.${base##*.} && base=${base%.*} ;;
    esac
    stem=$base
    number=2
    while [ -e "$out/results/$stem" ]; do
        stem=$base-$number
        number=$((number + 1))
    done
    copy=$out/originals/$stem$extension
    cp -- "$file" "$copy" && mkdir -- "$out/results/$stem"
}

show_picture() {
    if [ ! -f "$file" ]; then
        fail "$file: not found"
        return
    fi
    if ! copy_original; then
        fail "$file: cannot be copied"
        return
    fi
    if ! info=$(run vexo info -- "$copy"); then
        fail "$file: cannot be shown"
        rm -f -- "$copy"
        return
    fi
    info=${info#"$copy: "}
    echo "$(basename -- "$file"): $info"
    shown=originals/$stem$extension
    case $extension in
        .tif | .tiff | .TIF | .TIFF) shown=results/$stem/$stem.png ;; # browsers do not show them
    esac
    {
        printf '<h2>%s</h2>\n<p>%s</p>\n<div class="sheet">\n' "$(escape "$(basename -- "$file")")" "$(escape "$info")"
        figure original "Original" "originals/$stem$extension" "$shown" "$(printf '%s' "$info" | cut -d, -f1-3)"
    } >>"$page"
    results=results/$stem/$stem
    convert "PNG, own depth" "$results.png"
    convert "BMP, 24 bits" "$results-24.bmp" --depth 24
    convert "BMP, 8 bits, fixed palette" "$results-8.bmp" --depth 8 --palette fixed
    convert "PNG, 8-bit gray" "$results-gray.png" --depth 8 --palette gray
    convert "BMP, 4 bits" "$results-4.bmp" --depth 4 --palette fixed
    convert "BMP, 1 bit" "$results-1.bmp" --depth 1 --palette fixed
    convert "PNG, 1 bit through compressed rows" "$results-1c.png" --depth 1 --palette fixed --storage compressed
    case $extension in
        .gif | .GIF)
            run_to_figure "Every state of the animation" "$results-states.png" \
                play "$copy" --sheet "$out/$results-states.png"
            ;;
    esac
    echo '</div>' >>"$page"
}

# ---- Operations on one picture ------------------------------------------------------------------------------------

# run_to_figure TITLE RESULT ARGUMENT...: what vexo makes of the arguments
run_to_figure() {
    title=$1
    result=$2
    shift 2
    if report=$(run vexo "$@"); then
        figure result "$title" "$result" "$result" "${report#"$out/$result: "}" >>"$page"
    else
        fail "no result \"$title\""
    fi
}

# operate TITLE NAME ARGUMENT...: the operations on the subject
operate() {
    title=$1
    result=results/operations/$2.png
    shift 2
    run_to_figure "$title" "$result" "$@" "$subject" "$out/$result"
}

show_operations() {
    made=$out/results/operations
    mkdir -- "$made"
    subject=$made/subject.png
    if ! run vexo -q convert --depth 24 -- "$1" "$made/deep.bmp" ||
        ! run vexo -q resample 640 480 "$made/deep.bmp" "$subject" || ! run vexo -q gray "$subject" "$made/gray.bmp" ||
        ! run vexo -q alpha --from "$made/gray.bmp" "$subject" "$made/veil.png" ||
        ! run vexo -q resample 64 48 "$subject" "$made/tile.png"; then
        fail "$1: no operations"
        return
    fi
    {
        printf '<h2>Operations</h2>\n<p>Each on the same picture, made 640 x 480.</p>\n<div class="sheet">\n'
        figure original "Subject" results/operations/subject.png results/operations/subject.png "640 x 480"
    } >>"$page"
    operate "Nine methods of dithering, 1 bit" dither-1 dither --all
    operate "The same with 16 colours of the picture" dither-4 dither --all --depth 4 --palette optimized
    operate "Gray" gray gray
    operate "Halftone, dispersed" halftone halftone
    operate "Halftone, clustered" clustered halftone --clustered
    operate "Filled in an ellipse xor a polygon" region \
        --region ellipse:60,60,440,420 --region xor:polygon:320,20,620,460,200,240,600,200,180,440 fill '#2060c0'
    operate "Eight phases of the frame around it" frames \
        --region ellipse:60,60,440,420 --region xor:polygon:320,20,620,460,200,240,600,200,180,440 \
        resample 320 240 frame --all
    run_to_figure "Every paint effect, half way" results/operations/effects.png \
        effects "$subject" "$out/results/operations/effects.png"
    operate "Cropped" crop crop 160,120,320,240
    operate "Resized to 200 x 100" resize resize 200 100
    operate "Resampled to 200 x 100" resample resample 200 100
    operate "Turned by 15 degrees" rotate rotate 15 --fill '#ffffff'
    operate "A quarter turn" quarter rotate 90
    operate "Slanted by 20 degrees" shear shear 20 --fill '#ffffff'
    operate "Slanted in columns" columns shear 20 --vertical --fill '#ffffff'
    operate "Flipped" flip flip
    operate "Reversed" reverse reverse
    operate "Average with itself reversed" combine combine "$made/reverse.png" --how average
    subject=$made/veil.png
    operate "Its grays as alpha" alpha alpha
    operate "Over tiles of itself" underlay underlay "$made/tile.png"
    operate "Over itself flipped" stretch underlay "$made/flip.png" --stretch
    subject=$made/subject.png
    operate "Text through a device context" text draw-text "VEXOKIT" --at 40,360 --size 90 --colour '#ffe060'
    operate "Turned, reversed, few colours" chain rotate 30 reverse resample 320 320 dither --depth 4
    echo '</div>' >>"$page"
}

# ---- All of them --------------------------------------------------------------------------------------------------

failures=0
page=$out/index.html
rm -rf -- "$out/originals" "$out/results"
mkdir -p -- "$out/originals" "$out/results" || exit 1

if [ $# -eq 0 ]; then
    run make_samples "$out/samples" || exit 1
    set -- "$out"/samples/*
fi

begin_page >"$page" || exit 1
for file; do
    show_picture
done
subject=$out/samples/lake.jpg
[ -f "$subject" ] && [ "${1#"$out/samples/"}" != "$1" ] || subject=$1
show_operations "$subject"
echo '</html>' >>"$page"

if [ "$failures" -ne 0 ]; then
    echo "demo: $failures failed; what worked is in $page" >&2
    exit 1
fi
echo "Look at $page"
