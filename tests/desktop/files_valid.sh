#!/usr/bin/env bash
# The installed programs, desktop entry, icon and AppStream metadata are where the freedesktop.org
# rules want them, and the desktop's own validators accept them.
# Usage: files_valid.sh PREFIX APP_ID
set -euo pipefail
prefix="$1"
id="$2"
share="$prefix/share"
entry="$share/applications/$id.desktop"
metainfo="$share/metainfo/$id.metainfo.xml"
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

for program in velvora mp3enc; do
  [ -x "$prefix/bin/$program" ] || fail "no program $prefix/bin/$program"
done
for file in "$entry" "$metainfo" "$share/mime/packages/$id.xml"; do
  [ -f "$file" ] || fail "not installed: $file"
done

# The validators: a clean pass, not even a hint.
said="$(desktop-file-validate "$entry" 2>&1)" || fail "desktop-file-validate: $said"
[ -z "$said" ] || fail "desktop-file-validate has remarks: $said"
appstreamcli validate --no-net "$metainfo" || fail "appstreamcli validate"
# The tree as a whole: the metadata's launchable finds the entry beside it.
appstreamcli validate-tree --no-net "$prefix" || fail "appstreamcli validate-tree"

# The entry starts the installed program, with the file the file manager passes.
exec_line="$(sed -n 's/^Exec=//p' "$entry")"
case "$exec_line" in
  *"$prefix/bin/velvora"*" %f") ;;
  *) fail "Exec does not start $prefix/bin/velvora with %f: $exec_line" ;;
esac

# The icon the entry names is a scalable one of the hicolor theme, and it draws something.
icon="$(sed -n 's/^Icon=//p' "$entry")"
svg="$share/icons/hicolor/scalable/apps/$icon.svg"
if [ -f "$svg" ]; then
  png="$(mktemp --suffix=.png)"
  trap 'rm -f "$png"' EXIT
  rsvg-convert -w 64 -h 64 "$svg" -o "$png" || fail "the icon does not render"
  covered="$(convert "$png" -alpha extract -format '%[fx:mean]' info:)"
  awk -v c="$covered" 'BEGIN { exit !(c > 0.5) }' || fail "the icon covers only $covered of its square"
else
  fail "no icon $svg for Icon=$icon"
fi

[ "$failures" -eq 0 ] || exit 1
echo "installed files valid"
