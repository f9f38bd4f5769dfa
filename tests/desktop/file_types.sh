#!/usr/bin/env bash
# Our file types, installed into an XDG data folder of the test's own, are what the desktop's tools
# tell: .nvk files are the song package with its own name, .kar files the karaoke song (a kind of
# MIDI file), .mid files audio/midi (also known as audio/x-midi), with the system's database and
# without it; and the desktop offers the installed Velvora for every type its entry claims.
# Usage: file_types.sh PREFIX APP_ID
set -euo pipefail
prefix="$1"
id="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# No desktop session: xdg-mime asks the shared MIME database through `mimetype`, and nothing of the
# machine's own user folders is read.
unset DISPLAY WAYLAND_DISPLAY XDG_CURRENT_DESKTOP DESKTOP_SESSION KDE_FULL_SESSION GNOME_DESKTOP_SESSION_ID
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_DIRS=/usr/share
export XDG_DATA_HOME="$work/xdg"
mkdir -p "$HOME" "$XDG_DATA_HOME/mime/packages"

printf 'PK\003\004 a package' >"$work/Song.nvk"
printf 'PK\003\004 a package' >"$work/OLD SONG.NVK"
printf 'MThd\000\000\000\006\000\001\000\001\000\140' >"$work/Song.mid"
cp "$work/Song.mid" "$work/Song.kar"

type_of() { xdg-mime query filetype "$1"; }

before="$(type_of "$work/Song.nvk")"
[ "$before" != application/x-velvora-package ] || fail "the package type is known before it is installed"

cp "$prefix/share/mime/packages/$id.xml" "$XDG_DATA_HOME/mime/packages/"
said="$(update-mime-database "$XDG_DATA_HOME/mime" 2>&1)" || fail "update-mime-database: $said"
[ -z "$said" ] || fail "update-mime-database has remarks on our file type: $said"

for f in Song.nvk "OLD SONG.NVK"; do
  got="$(type_of "$work/$f")"
  [ "$got" = application/x-velvora-package ] || fail "$f: $got"
done
description="$(mimetype --brief --describe "$work/Song.nvk")"
[ "$description" = "Velvora song package" ] || fail "the package is described as '$description'"
description="$(perl -MFile::MimeInfo=describe -e 'print describe("audio/x-kar")')"
[ "$description" = "Karaoke MIDI song" ] || fail "the KAR song is described as '$description'"

# What file managers see, through GIO: beside the system's database, where audio/midi also claims
# *.kar, our KAR type wins by its glob's weight. (xdg-mime without a desktop asks File::MimeInfo,
# which lets the system's glob win and says audio/midi, a type the entry claims as well.)
content_type() { gio info -a standard::content-type "$1" | sed -n 's/^ *standard::content-type: //p'; }
for f in Song.kar:audio/x-kar Song.mid:audio/midi Song.nvk:application/x-velvora-package; do
  got="$(content_type "$work/${f%%:*}")"
  [ "$got" = "${f#*:}" ] || fail "GIO beside the system's database: ${f%%:*} is $got"
done
# xdg-mime, as the desktop's scripts ask.
expect_songs() { # what
  local got
  got="$(type_of "$work/Song.kar")"
  [ "$got" = audio/x-kar ] || fail "$1: Song.kar is $got"
  got="$(type_of "$work/Song.mid")"
  [ "$got" = audio/midi ] || fail "$1: Song.mid is $got"
  got="$(type_of "$work/Song.nvk")"
  [ "$got" = application/x-velvora-package ] || fail "$1: Song.nvk is $got"
}
# The KAR song is a MIDI file, and audio/x-midi is the MIDI type's other name.
python3 - "$XDG_DATA_HOME/mime" <<'PY' || fail "the database does not hold the KAR song as MIDI or audio/x-midi as MIDI"
import sys
mime = sys.argv[1]
subclasses = open(mime + "/subclasses").read().split("\n")
aliases = open(mime + "/aliases").read().split("\n")
sys.exit(0 if "audio/x-kar audio/midi" in subclasses and "audio/x-midi audio/midi" in aliases else 1)
PY

# Our database alone, as on a system without the freedesktop.org one.
(
  failures=0
  export XDG_DATA_DIRS="$work/no-system-data"
  mkdir -p "$XDG_DATA_DIRS"
  expect_songs "our file types alone"
  exit "$failures"
) || fail "our file types alone are not enough"

# The desktop's view (GIO, as file managers use it) with Velvora installed in the prefix: each type
# of the entry has Velvora among its applications.
export XDG_DATA_DIRS="$prefix/share:/usr/share"
types="$(sed -n 's/^MimeType=//p' "$prefix/share/applications/$id.desktop" | tr ';' ' ')"
for t in audio/midi audio/x-midi audio/x-kar application/x-velvora-package; do
  case " $types " in *" $t "*) ;; *) fail "the entry does not claim $t" ;; esac
  offered="$(gio mime "$t")"
  grep -q "^	$id.desktop\$" <<<"$offered" || fail "the desktop does not offer Velvora for $t: $offered"
done

[ "$failures" -eq 0 ] || exit 1
echo "file types as the desktop sees them"
