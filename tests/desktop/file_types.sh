#!/usr/bin/env bash
# The song package's file type, installed into an XDG data folder of the test's own, is what the
# desktop's tools tell for .nvk files, with its own name; MIDI and KAR songs keep the system's
# type; and the desktop offers the installed Velvora for every type its entry claims.
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
cp "$work/Song.nvk" "$work/Song.kar"
printf 'MThd\000\000\000\006\000\001\000\001\000\140' >"$work/Song.mid"

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
for f in Song.kar Song.mid; do
  got="$(type_of "$work/$f")"
  [ "$got" = audio/midi ] || fail "$f: $got"
done

# The desktop's view (GIO, as file managers use it) with Velvora installed in the prefix: each type
# of the entry has Velvora among its applications.
export XDG_DATA_DIRS="$prefix/share:/usr/share"
types="$(sed -n 's/^MimeType=//p' "$prefix/share/applications/$id.desktop" | tr ';' ' ')"
for t in audio/midi audio/x-midi application/x-velvora-package; do
  case " $types " in *" $t "*) ;; *) fail "the entry does not claim $t" ;; esac
  offered="$(gio mime "$t")"
  grep -q "^	$id.desktop\$" <<<"$offered" || fail "the desktop does not offer Velvora for $t: $offered"
done

[ "$failures" -eq 0 ] || exit 1
echo "file types as the desktop sees them"
