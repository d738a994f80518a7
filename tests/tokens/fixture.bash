# shellcheck shell=bash
# What the with-NAME scripts of this directory have in common; each of them sources it.
#
# A fixture has one way out, whether its command has ended or a signal has come: what was started is stopped, the latest
# first, and the directory goes. The command keeps its status; a fixture that cannot work on this machine says why and
# leaves with status 77, which the tests count as skipped. Whatever is started gets a session of its own, so that one
# signal reaches all its processes, and dies with the fixture even when that is killed the hard way.
set -euo pipefail

fixtures=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
directory=
started=()

say() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
}

cannot_run() {
  say "cannot run here: $*"
  exit 77
}

# require FILE...: modules and programs, the latter by their names.
require() {
  local wanted
  for wanted in "$@"; do
    [ -e "$wanted" ] || command -v "$wanted" >/dev/null || cannot_run "there is no $wanted"
  done
}

# own_namespaces KINDS "$@": begins the script once more, where it may mount (and whatever else unshare's options say)
# without the machine noticing. Takes root: a user who maps itself to root there cannot serve the groups that some
# tokens want.
own_namespaces() {
  local kinds=$1
  shift
  if [ -z "${HARLUNE_OWN_NAMESPACES:-}" ]; then
    [ "$(id -u)" -eq 0 ] || cannot_run "it takes root"
    # shellcheck disable=SC2086
    unshare $kinds true 2>/dev/null || cannot_run "root may not make namespaces (unshare $kinds)"
    # shellcheck disable=SC2086
    HARLUNE_OWN_NAMESPACES=yes exec unshare $kinds "$0" "$@"
  fi
  unset HARLUNE_OWN_NAMESPACES
}

# private_directory NAME: makes the directory that everything of the fixture is in. Nothing may be mounted below it.
private_directory() {
  directory=$(mktemp -d "${TMPDIR:-/tmp}/$1.XXXXXX")
}

# launch COMMAND [ARGUMENT]...: starts it in the background.
launch() {
  setpriv --pdeathsig TERM setsid "$@" <&0 &
  started+=("$!")
}

# Tells which processes of a session live. What has ended and was never waited for does not count: not every machine has
# an init that waits.
alive_in() {
  local stat line fields
  for stat in /proc/[0-9]*/stat; do
    { read -r line <"$stat"; } 2>/dev/null || continue
    read -ra fields <<<"${line##*) }"
    if [ "${fields[0]}" != Z ] && [ "${fields[3]}" = "$1" ]; then
      echo "${line%% *}"
    fi
  done
}

# stop PROCESS: ends what launch has started, and everything that this has started in its session.
stop() {
  local patience members
  # It may not have come as far as to its own session.
  kill -TERM "$1" 2>/dev/null || true
  for ((patience = 100; patience >= 0; --patience)); do
    mapfile -t members < <(alive_in "$1")
    [ ${#members[@]} -gt 0 ] || break
    # Java and others take a while to end and want to be asked only once.
    case $patience in
    100) kill -TERM "${members[@]}" 2>/dev/null || true ;;
    0) kill -KILL "${members[@]}" 2>/dev/null || true ;;
    esac
    sleep 0.1
  done
  wait "$1" 2>/dev/null || true
}

leave() {
  local i
  trap '' HUP INT TERM
  for ((i = ${#started[@]} - 1; i >= 0; --i)); do
    stop "${started[i]}"
  done
  [ -z "$directory" ] || rm -rf "$directory"
}
trap leave EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# await LOG COMMAND [ARGUMENT]...: returns when the command succeeds; when that takes too long, shows the log.
await() {
  local log=$1 patience
  shift
  for ((patience = 300; patience > 0; --patience)); do
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  say "waited in vain for: $*"
  cat "$log" >&2
  exit 1
}

# quietly COMMAND [ARGUMENT]...: shows what it says only when it fails.
quietly() {
  "$@" >"$directory/log" 2>&1 || { cat "$directory/log" >&2; exit 1; }
}

# run COMMAND [ARGUMENT]...: runs what the fixture is for; its status becomes the fixture's.
run() {
  launch "$@"
  wait "$!"
}

# Makes two SoftHSM tokens, and exports where SoftHSM finds them.
softhsm_module=/usr/lib/softhsm/libsofthsm2.so
softhsm_tokens() {
  local label
  require softhsm2-util "$softhsm_module"
  mkdir "$directory/tokens"
  cat >"$directory/softhsm2.conf" <<CONFIGURATION
directories.tokendir = $directory/tokens
objectstore.backend = file
log.level = ERROR
slots.removable = false
CONFIGURATION
  export SOFTHSM2_CONF=$directory/softhsm2.conf
  for label in tok1 tok2; do
    quietly softhsm2-util --init-token --free --label "$label" --so-pin 12345678 --pin 1234
  done
}

# The command is to use those tokens.
use_softhsm() {
  softhsm_tokens
  export P11_MODULE=$softhsm_module
  export TOKEN_LABEL=tok1 OTHER_TOKEN_LABEL=tok2 TOKEN_PIN=1234 TOKEN_SO_PIN=12345678
}

# Makes a database for the NSS softoken and tells, in softoken_parameters, what the softoken wants to know of it.
softoken_database() {
  require certutil /usr/lib/x86_64-linux-gnu/libsoftokn3.so
  printf '%s' "$1" >"$directory/pin"
  quietly certutil -N -d "sql:$directory" -f "$directory/pin"
  softoken_parameters="configdir='sql:$directory' certPrefix='' keyPrefix='' secmod='' flags="
}
