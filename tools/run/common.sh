# Shared by run and ctl: where the system of this user lives. Sourced by bash.
# shellcheck shell=bash disable=SC2034

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
bin=$top/build/release/bin
default_dir=${TMPDIR:-/tmp}/strell-$(id -u)

say() { printf '%s\n' "$*"; }
die() {
    printf 'dev run: %s\n' "$*" >&2
    exit 1
}
