#!/bin/bash
# A session with the viewer in a window under Xvfb: window-session.sh QK3D-VIEW, in a folder that has box.obj and
# picture.png, which was drawn of it without a window. Ends with a line for each thing that did not work, and exit code 0 if there is
# none.
set -u
viewer=$1
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# wait_for COMMAND...: tries for ten seconds.
wait_for() {
    for _ in $(seq 100); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    return 1
}

# Held down long enough for a slow frame to see it.
press() {
    xdotool keydown "$1"
    sleep 0.5
    xdotool keyup "$1"
    sleep 0.5
}

# shoot NAME: a screenshot, kept as NAME.png.
shoot() {
    rm -f shot.png
    press s
    wait_for test -s shot.png || { fail "no screenshot for $1"; return; }
    sleep 0.3
    mv shot.png "$1.png"
}

same() { cmp -s "$1.png" "$2.png"; }

# open_window ARGUMENT...: starts the viewer, with the mouse in the middle of its window.
open_window() {
    "$viewer" --window "$@" --size 400x300 --out shot.png >viewer.log 2>&1 &
    pid=$!
    # There first, then seen, and only then does it take the keyboard.
    wait_for xdotool search --onlyvisible --name view || fail "no window"
    window=$(xdotool search --onlyvisible --name view | head -1)
    wait_for xdotool windowfocus "$window" || fail "the window takes no keys"
    xdotool mousemove --window "$window" 200 150
    sleep 1
}

close_window() {
    xdotool keydown Escape
    wait_for eval '! kill -0 '$pid || { fail "Escape does not close"; kill $pid; }
    xdotool keyup Escape
    wait $pid
    local code=$?
    [ $code = 0 ] || fail "the viewer ended with $code: $(cat viewer.log)"
}

cat >lit.json <<'END'
{"Technique": [{"Pass": [{"RenderState": {"LIGHTING": false, "TEXTUREFACTOR": [255, 255, 0, 0]},
  "Texture": [{"TextureState": {"COLOROP": "SELECTARG1", "COLORARG1": "TFACTOR"}}]}]}]}
END
cat >scene.json <<'END'
{"Materials": ["lit.json"], "Camera": {"Distance": 4, "Pitch": 20},
 "Objects": [{"Shape": "BOX", "Material": "lit", "Rotation": [0, 30, 0]}]}
END

# Else it starts over whenever its last window goes, and the next viewer may find nobody at home.
Xvfb -noreset -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>display 2>/dev/null &
server=$!
wait_for test -s display || { echo "FAILED: no display"; exit 1; }
DISPLAY=:$(cat display)
export DISPLAY

timeout 60 "$viewer" --window --model box.obj --size 320x240 --frames 3 --out window.png || fail "no picture of a window"
same window picture || fail "a window shows what its picture does not"

open_window --scene scene.json
shoot start
shoot again
same start again || fail "a scene that stands still changes"

press w
shoot wire
same start wire && fail "W shows no wireframe"
press w
shoot solid
same start solid || fail "W does not go back"

press h
shoot hud
same start hud && fail "H shows no panel"
press h
shoot plain
same start plain || fail "H does not go back"

xdotool mousedown 1
sleep 0.3
xdotool mousemove_relative 60 20
sleep 0.3
xdotool mouseup 1
shoot orbit
same start orbit && fail "the left button does not orbit"

xdotool mousedown 3
sleep 0.3
xdotool mousemove_relative 40 0
sleep 0.3
xdotool mouseup 3
shoot pan
same orbit pan && fail "the right button does not pan"

xdotool click 4
sleep 0.5
shoot zoom
same pan zoom && fail "the wheel does not zoom"

sed -i 's/255, 255, 0, 0/255, 0, 255, 0/' lit.json
touch -d '+1 minute' lit.json
sleep 0.7
shoot reload
same zoom reload && fail "a changed script is not read again"

close_window

# Without --frames time passes as on the wall.
sed 's/"Rotation"/"Spin": 37, "Rotation"/' scene.json >moving.json
open_window --scene moving.json
shoot early
shoot late
same early late && fail "a scene that moves stands still"
close_window

kill $server
wait $server 2>/dev/null
exit $((failures > 0))
