#!/usr/bin/env bash
# Starts brindletool on a private X server (Xvfb) and saves a picture of its
# window, so that a person without a display can see it.
#
#   bash tools/brindletool-shot.sh [-o vertical|horizontal] [-n full|short|descriptive]
#                                  [-g WIDTHxHEIGHT] OUT.png WORKSPACE...
#
# The programs come from build/bin of this tree, or from BRINDLE_BIN.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin=${BRINDLE_BIN:-$top/build/bin}
orientation=Vertical names=Full geometry=860x600
while getopts o:n:g: opt; do
  case $opt in
    o) orientation=${OPTARG^} ;;
    n) names=${OPTARG^} ;;
    g) geometry=$OPTARG ;;
    *) exit 2 ;;
  esac
done
shift $((OPTIND - 1))
[ $# -ge 2 ] || { sed -n '5,6s/^# *//p' "$0"; exit 2; }
out=$1
shift
for tool in Xvfb xdotool import; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed (tools/debian-packages.txt)"; exit 1; }
done

tmp=$(mktemp -d "${TMPDIR:-/tmp}/brindletool-shot.XXXXXX")
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$tmp"' EXIT
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$tmp/display" 2>/dev/null &
pids+=($!)
# wait_for CMD...: polls until CMD succeeds, for at most a minute.
wait_for() {
  local i
  for ((i = 0; i < 1200; i++)); do "$@" 2>/dev/null && return 0; sleep 0.05; done
  echo "gave up waiting for: $*"
  exit 1
}
wait_for test -s "$tmp/display"
export DISPLAY=":$(head -n1 "$tmp/display")"

mkdir "$tmp/home"
printf 'brindletool.orientation: %s\nbrindletool.workspace_names: %s\n' "$orientation" "$names" \
  >"$tmp/home/.brindletoolrc"
HOME="$tmp/home" BRINDLE_NO_HAILWAY=1 BRINDLE_GUI_DEBUG="$tmp/trace" \
  "$bin/brindletool" -geometry "$geometry" "$@" >"$tmp/log" 2>&1 &
pids+=($!)
# The tool traces "shown" once its window has been painted.
wait_for grep -q '^shown$' "$tmp/trace"
win=$(xdotool search --onlyvisible --name 'Lathe Fathom Weaving' | head -n1)
import -window "$win" "$out"
grep '^footer left' "$tmp/trace" | tail -n1 | sed 's/^footer left /brindletool: /'
echo "picture saved in $out"
