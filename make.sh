#!/bin/sh
# The README's two commands, `./make.sh run` and `./make.sh test`, on any Debian 12 system: a bare one lacks
# even make, so this installs it (and the rest a target needs, through the Makefile) and then runs the target.
# Any other target of the Makefile works the same way.
set -e
cd "$(dirname "$0")"
if ! command -v make >/dev/null 2>&1; then
  echo "make.sh: installing make"
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo=sudo
  log=$(mktemp "${TMPDIR:-/tmp}/tavo-make.XXXXXX.log")
  if ! { DEBIAN_FRONTEND=noninteractive $sudo apt-get update -q &&
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends make; } >"$log" 2>&1; then
    tail -n 30 "$log" >&2
    echo "make.sh: installing make failed; the whole output is in $log" >&2
    exit 1
  fi
  rm -f "$log"
fi
exec make "$@"
