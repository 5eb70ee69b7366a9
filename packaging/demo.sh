# The demo library of ./run: a few albums, photos and videos out of FFmpeg's own test sources. Made once per home.

# artist | album | year | genre | file type | root note in Hz | titles, separated by commas
demo_albums='Ada Ohm|First Waves|2019|Electronic|flac|220.00|Carrier,Sideband,Zero Crossing,Long Wave
Ada Ohm|Night Current|2022|Ambient|mp3|164.81|Dusk,Copper Rain,Low Tide,Standing Wave
The Square Roots|Radical|2015|Rock|mp3|196.00|Two,Three,Five,Seven
The Square Roots|Irrational|2018|Rock|m4a|246.94|Golden,Silver,Pi Day,Remainder
Fourier and Sons|Series|2020|Classical|flac|261.63|Fundamental,Second Partial,Third Partial,Fifth Partial
Fourier and Sons|Transform|2023|Jazz|ogg|174.61|Window,Overlap,Leakage,Phase'

make_demo_library() {
    local demo=$home/demo
    media=("$demo")
    [[ ! -d $demo ]] || return 0
    say "Making a demo library"
    rm -rf "$demo.new" && mkdir -p "$demo.new" || fail "could not create the demo library in \"$home\""
    step bash -c "$(declare -f demo_music demo_album demo_track demo_cover demo_photos demo_videos quiet_ffmpeg)
        demo_albums=\$1; cd \"\$0\" && demo_music && demo_photos && demo_videos" "$demo.new" "$demo_albums" &&
        mv "$demo.new" "$demo" || fail "could not make the demo library"
}

quiet_ffmpeg() {
    ffmpeg -nostdin -v error -y "$@"
}

# The albums are made side by side.
demo_music() {
    local artist album year genre type note titles pid albums=() status=0
    while IFS='|' read -r artist album year genre type note titles; do
        demo_album "Music/$artist/$album" &
        albums+=($!)
    done <<<"$demo_albums"
    for pid in "${albums[@]}"; do
        wait "$pid" || status=1
    done
    return "$status"
}

# The variables of demo_music's line are visible here.
demo_album() {
    local title number=0
    mkdir -p "$1" && demo_cover "$1/cover.jpg" "$note" || return 1
    while read -r title; do
        number=$((number + 1))
        demo_track "$1/$(printf '%02d' "$number") $title.$type" || return 1
    done < <(tr ',' '\n' <<<"$titles")
}

# A slow arpeggio over the album's root note, another order of its steps in each track.
demo_track() {
    local picture=() tune room=aecho=0.8:0.6:350:0.3,aresample=44100,aformat=channel_layouts=stereo
    tune="0.25*sin(2*PI*t*$note*pow(2\,floor(mod(t*2*$number\,5))*4/12))*exp(-3*mod(t\,0.5))"
    tune+="+0.1*sin(2*PI*t*$note/2)"
    case $type in
        mp3 | flac) picture=(-i "$1.jpg" -map 0 -map 1 -c:v copy -disposition:v attached_pic) ;;
    esac
    ((${#picture[@]} == 0)) || cp "${1%/*}/cover.jpg" "$1.jpg" || return 1
    quiet_ffmpeg -f lavfi -i "aevalsrc=$tune:s=22050:d=$((6 + 2 * number)),$room" ${picture[@]+"${picture[@]}"} \
        -metadata title="$title" -metadata artist="$artist" -metadata album_artist="$artist" -metadata album="$album" \
        -metadata date="$year" -metadata genre="$genre" -metadata track="$number" "$1" && rm -f "$1.jpg"
}

demo_cover() {
    quiet_ffmpeg -f lavfi -i "gradients=size=600x600:seed=${2%.*}:nb_colors=4" -frames:v 1 -q:v 3 "$1"
}

demo_photos() {
    local name source
    mkdir -p Photos || return 1
    while read -r name source; do
        quiet_ffmpeg -f lavfi -i "$source" -frames:v 1 -q:v 3 "Photos/$name.jpg" || return 1
    done <<'END'
Fractal mandelbrot=size=1920x1080:maxiter=300
Sunset gradients=size=1600x1200:seed=7
Carpet sierpinski=size=1024x768:seed=3
Pattern testsrc2=size=1280x960
END
}

demo_videos() {
    mkdir -p Videos || return 1
    quiet_ffmpeg -f lavfi -i testsrc2=size=960x540:rate=25 -f lavfi -i sine=440:beep_factor=4 -t 12 \
        -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -metadata title="Test picture" "Videos/Test picture.mp4" &&
        quiet_ffmpeg -f lavfi -i mandelbrot=size=352x288:rate=25:maxiter=500 -f lavfi -i sine=220 -t 10 \
            -c:v mpeg2video -b:v 3M -pix_fmt yuv420p -c:a mp2 "Videos/Into the fractal.mpg"
}
