#!/usr/bin/env bash
# The installed program under a private X display, as a desktop starts it: without a song it comes
# up Empty; with a KAR song as its argument, started directly or through its desktop entry as the
# file manager does, it comes up with the song opened (its window shows more than the Empty one,
# and no error box) and stays up. Its files go to the user's data folder; nothing is written under
# the prefix.
# Usage: run_installed.sh PREFIX APP_ID SONG.kar
set -euo pipefail
prefix="$1"
id="$2"
song_in="$3"
[ -f "$song_in" ] || { echo "FAIL: no song $song_in" >&2; exit 1; }
work="$(mktemp -d)"
pids=()
cleanup() {
  # The programs first, their display last.
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# The song from a folder with a space in its name, as users' folders have, under a name whose title
# cannot be mistaken for a word of its lyrics.
title="Evening Rehearsal"
mkdir -p "$work/my songs"
song="$work/my songs/$title.kar"
cp "$song_in" "$song"

# A user of the test's own, a private display, and no sound server (the program then plays on its
# silent clock).
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_CACHE_HOME="$work/home/.cache"
export XDG_DATA_HOME="$work/home/.local/share" XDG_RUNTIME_DIR="$work/runtime"
export XDG_DATA_DIRS="$prefix/share:/usr/share" PULSE_SERVER="unix:$work/no-server"
export QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY XDG_CURRENT_DESKTOP
mkdir -p "$HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
Xvfb -displayfd 3 -screen 0 1400x1000x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 1 100); do [ -s "$work/display" ] && break; sleep 0.1; done
[ -s "$work/display" ] || fail "Xvfb did not start"
export DISPLAY=":$(head -n 1 "$work/display")"

data="$XDG_DATA_HOME/Velvora/Velvora"
snapshot() { find "$prefix" -printf '%P %y %s %m %T@\n' | sort; }
snapshot >"$work/prefix-before"

# The visible main window of the program, once it is up.
main_window() {
  local id
  for _ in $(seq 1 300); do
    id="$(xdotool search --onlyvisible --name '^Velvora$' 2>/dev/null | head -n 1)" || true
    [ -n "$id" ] && { echo "$id"; return 0; }
    sleep 0.1
  done
  return 1
}
shot() { import -window "$1" "$2"; }
differing() { compare -metric AE "$1" "$2" null: 2>&1 || true; }
# A picture of the window once it has settled: two pictures a moment apart are alike.
settled_shot() { # window file
  shot "$1" "$2"
  for _ in $(seq 1 50); do
    sleep 0.3
    shot "$1" "$work/again.png"
    [ "$(differing "$2" "$work/again.png")" = 0 ] && return 0
    mv "$work/again.png" "$2"
  done
  fail "the window never settled"
}
# The text of a picture of the window, as a reader sees it.
text_of() { # png
  convert "$1" -resize 200% -colorspace Gray "$work/ocr.png"
  tesseract "$work/ocr.png" - 2>/dev/null | tr -s ' \n' '  '
}
no_error_box() {
  if xdotool search --onlyvisible --name '^Error$' >/dev/null 2>&1; then fail "$1: an error box came up"; fi
}
stop() { # pid
  kill -0 "$1" 2>/dev/null || fail "the program ended by itself"
  kill "$1"
  wait "$1" 2>/dev/null || true
}

# 1. Without a song: the Empty window, and the work folders in the data folder.
"$prefix/bin/velvora" &
app=$!
pids+=($app)
window="$(main_window)" || fail "no main window without a song"
settled_shot "$window" "$work/empty.png"
no_error_box "without a song"
for folder in PLAY TKKK TMPK SONGCUSTOM; do
  [ -d "$data/$folder" ] || fail "no $folder in the data folder $data"
done
case "$(text_of "$work/empty.png")" in
  *"$title"*) fail "the Empty window already shows the title" ;;
esac
wm_class="$(xprop -id "$window" WM_CLASS | sed 's/.*= //')"
entry_class="$(sed -n 's/^StartupWMClass=//p' "$prefix/share/applications/$id.desktop")"
case "$wm_class" in
  *"\"$entry_class\""*) ;;
  *) fail "the window's class $wm_class is not the entry's $entry_class" ;;
esac
stop "$app"

# Waits until the window shows clearly more than the Empty one did (the song's title, fields and
# buttons) and has settled, then checks that it stays up with no error box.
opened() { # pid window what
  local changed=0
  for _ in $(seq 1 100); do
    settled_shot "$2" "$work/now.png"
    changed="$(differing "$work/empty.png" "$work/now.png")"
    [ "${changed%%.*}" -gt 2000 ] && break
    sleep 0.2
  done
  [ "${changed%%.*}" -gt 2000 ] || fail "$3: the window still looks Empty ($changed pixels changed)"
  local text
  text="$(text_of "$work/now.png")"
  case "$text" in
    *"$title"*) ;;
    *) fail "$3: the title '$title' is not on the window, which reads: $text" ;;
  esac
  no_error_box "$3"
  sleep 1
  no_error_box "$3"
  kill -0 "$1" 2>/dev/null || fail "$3: the program did not stay up"
}

# 2. The song as the argument.
"$prefix/bin/velvora" "$song" &
app=$!
pids+=($app)
window="$(main_window)" || fail "no main window with a song"
opened "$app" "$window" "started with the song"
cp "$work/now.png" "$work/direct.png"
stop "$app"

# 3. Through the desktop entry, as the file manager opens the song: the same program, the same
# argument, the same window.
gio launch "$prefix/share/applications/$id.desktop" "$song"
window="$(main_window)" || fail "no main window from the desktop entry"
app="$(xdotool getwindowpid "$window")"
pids+=($app)
mapfile -d '' cmdline <"/proc/$app/cmdline"
[ "${cmdline[0]}" = "$prefix/bin/velvora" ] || fail "the entry started ${cmdline[0]}"
[ "${#cmdline[@]}" -eq 2 ] && [ "${cmdline[1]}" = "$song" ] || fail "the entry passed: ${cmdline[*]:1}"
opened "$app" "$window" "opened from the desktop entry"
same="$(differing "$work/direct.png" "$work/now.png")"
[ "$same" = 0 ] || fail "the desktop entry's window differs from the direct start's by $same pixels"
stop "$app"

snapshot >"$work/prefix-after"
diff "$work/prefix-before" "$work/prefix-after" >&2 || fail "the program wrote under the prefix"
echo "the installed program opens its song and keeps its files in $data"
